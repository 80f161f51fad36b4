#include "platform/simulated/scenario.h"

#include <gtest/gtest.h>

namespace parlen::simulated {
namespace {

using platform::PlatformError;

/// The scenario that the text holds; the test fails if it holds none.
Scenario parsed(std::string_view json) {
  auto scenario = parseScenario(json);
  EXPECT_TRUE(scenario) << scenario.error();
  return scenario.value_or(Scenario{});
}

TEST(Scenario, SupportsEverythingByDefault) {
  const HostScenario host = parsed("{}").host;
  EXPECT_TRUE(host.supported);
  EXPECT_EQ(host.processorCount, 8);
  EXPECT_EQ(host.minimumCPUCount, 1);
  EXPECT_EQ(host.maximumCPUCount, 8);
  EXPECT_EQ(host.minimumMemorySize, 134217728U);
  EXPECT_EQ(host.maximumMemorySize, 17179869184U);
  EXPECT_EQ(host.hardwareModels, std::vector<std::string>{"sim-1"});
}

TEST(Scenario, InstallsAtOnceByDefault) {
  const Scenario scenario = parsed(R"({"restoreImage":{},"install":{},"configuration":{}})");
  EXPECT_EQ(scenario.restoreImage.loadMs, milliseconds(0));
  EXPECT_EQ(scenario.restoreImage.error, std::nullopt);
  EXPECT_EQ(scenario.install.progress, (std::vector<double>{0, 0.25, 0.5, 0.75, 1}));
  EXPECT_EQ(scenario.install.stepMs, milliseconds(0));
  EXPECT_EQ(scenario.install.error, std::nullopt);
  EXPECT_EQ(scenario.configuration.attachError, std::nullopt);
  EXPECT_EQ(scenario.configuration.validateError, std::nullopt);
}

TEST(Scenario, RunsAtOnceByDefault) {
  const MachineScenario machine = parsed(R"({"machine":{}})").machine;
  EXPECT_EQ(machine.startMs, milliseconds(0));
  EXPECT_EQ(machine.startError, std::nullopt);
  EXPECT_EQ(machine.canRequestStop, std::nullopt);
  EXPECT_EQ(machine.requestStopError, std::nullopt);
  EXPECT_EQ(machine.shutdownMs, milliseconds(0));
  EXPECT_EQ(machine.stopMs, milliseconds(0));
  EXPECT_EQ(machine.stopError, std::nullopt);
  EXPECT_EQ(machine.pauseMs, milliseconds(0));
  EXPECT_EQ(machine.pauseError, std::nullopt);
  EXPECT_EQ(machine.resumeMs, milliseconds(0));
  EXPECT_EQ(machine.resumeError, std::nullopt);
}

TEST(Scenario, HasAScreenAndASingleViewByDefault) {
  const Scenario scenario = parsed(R"({"window":{},"script":[]})");
  EXPECT_EQ(scenario.window.visibleFrame, (platform::Rect{0, 0, 1440, 875}));
  EXPECT_EQ(scenario.window.chrome, 28);
  EXPECT_TRUE(scenario.window.unbuildableKeyCodes.empty());
  EXPECT_EQ(scenario.window.views.name, "machine-view");
  EXPECT_TRUE(scenario.window.views.acceptsFirstResponder);
  EXPECT_TRUE(scenario.window.views.subviews.empty());
  EXPECT_TRUE(scenario.script.empty());
}

TEST(Scenario, TakesTheHostsMembers) {
  const HostScenario host = parsed(R"({"host":{"supported":false,"processorCount":64,
      "minimumCPUCount":2,"maximumCPUCount":9223372036854775807,"minimumMemorySize":0,
      "maximumMemorySize":18446744073709551615,"hardwareModels":["a","b"]}})")
                                .host;
  EXPECT_FALSE(host.supported);
  EXPECT_EQ(host.processorCount, 64);
  EXPECT_EQ(host.minimumCPUCount, 2);
  EXPECT_EQ(host.maximumCPUCount, 9223372036854775807);
  EXPECT_EQ(host.minimumMemorySize, 0U);
  EXPECT_EQ(host.maximumMemorySize, 18446744073709551615U);
  EXPECT_EQ(host.hardwareModels, (std::vector<std::string>{"a", "b"}));
}

TEST(Scenario, TakesTheInstallationsMembers) {
  const Scenario scenario = parsed(R"({
      "restoreImage":{"loadMs":3,"error":{"description":"r"}},
      "install":{"progress":[0.5],"stepMs":4,"error":{"description":"i"}},
      "configuration":{"attachError":{"description":"a"},"validateError":{"description":"v"}}})");
  EXPECT_EQ(scenario.restoreImage.loadMs, milliseconds(3));
  EXPECT_EQ(scenario.restoreImage.error->description, "r");
  EXPECT_EQ(scenario.install.progress, std::vector<double>{0.5});
  EXPECT_EQ(scenario.install.stepMs, milliseconds(4));
  EXPECT_EQ(scenario.install.error->description, "i");
  EXPECT_EQ(scenario.configuration.attachError->description, "a");
  EXPECT_EQ(scenario.configuration.validateError->description, "v");
}

TEST(Scenario, TakesTheMachinesMembers) {
  const MachineScenario machine = parsed(R"({"machine":{"startMs":1,
      "startError":{"description":"s"},"canRequestStop":false,
      "requestStopError":{"description":"q"},"shutdownMs":2,"stopMs":3,
      "stopError":{"description":"t"},"pauseMs":4,"pauseError":{"description":"p"},
      "resumeMs":1000000000000,"resumeError":{"description":"u"}}})")
                                      .machine;
  EXPECT_EQ(machine.startMs, milliseconds(1));
  EXPECT_EQ(machine.startError->description, "s");
  EXPECT_EQ(machine.canRequestStop, false);
  EXPECT_EQ(machine.requestStopError->description, "q");
  EXPECT_EQ(machine.shutdownMs, milliseconds(2));
  EXPECT_EQ(machine.stopMs, milliseconds(3));
  EXPECT_EQ(machine.stopError->description, "t");
  EXPECT_EQ(machine.pauseMs, milliseconds(4));
  EXPECT_EQ(machine.pauseError->description, "p");
  EXPECT_EQ(machine.resumeMs, milliseconds(1000000000000));
  EXPECT_EQ(machine.resumeError->description, "u");
}

TEST(Scenario, TakesNullWhereSomethingMayNeverCome) {
  const Scenario scenario =
      parsed(R"({"machine":{"shutdownMs":null,"stopMs":null},"window":{"visibleFrame":null}})");
  EXPECT_EQ(scenario.machine.shutdownMs, std::nullopt);
  EXPECT_EQ(scenario.machine.stopMs, std::nullopt);
  EXPECT_EQ(scenario.window.visibleFrame, std::nullopt);
}

TEST(Scenario, FillsInWhatAnErrorLeavesOut) {
  EXPECT_EQ(parsed(R"({"install":{"error":{}}})").install.error,
            (PlatformError{"ParlenSimulatedErrorDomain", 1, "simulated failure"}));
  EXPECT_EQ(
      parsed(R"({"install":{"error":{"domain":"D","code":-9,"description":""}}})").install.error,
      (PlatformError{"D", -9, ""}));
}

TEST(Scenario, TakesTheWindowsMembers) {
  const WindowScenario window = parsed(R"({"window":{"visibleFrame":[-1.5,2,3,4],"chrome":28.5,
      "unbuildableKeyCodes":[0,65535],
      "views":{"subviews":[{"name":"a","acceptsFirstResponder":false},
                           {"subviews":[{"name":"b"}]}]}}})")
                                    .window;
  EXPECT_EQ(window.visibleFrame, (platform::Rect{-1.5, 2, 3, 4}));
  EXPECT_EQ(window.chrome, 28.5);
  EXPECT_EQ(window.unbuildableKeyCodes, (std::vector<std::uint16_t>{0, 65535}));
  EXPECT_EQ(window.views.name, "machine-view");
  ASSERT_EQ(window.views.subviews.size(), 2U);
  EXPECT_EQ(window.views.subviews[0].name, "a");
  EXPECT_FALSE(window.views.subviews[0].acceptsFirstResponder);
  EXPECT_EQ(window.views.subviews[1].name, "");
  EXPECT_TRUE(window.views.subviews[1].acceptsFirstResponder);
  EXPECT_EQ(window.views.subviews[1].subviews.at(0).name, "b");
}

TEST(Scenario, TakesTheViewsOwnName) {
  EXPECT_EQ(parsed(R"({"window":{"views":{"name":"guest"}}})").window.views.name, "guest");
}

TEST(Scenario, KnowsEveryEventOfTheScript) {
  const std::vector<ScriptEntry> script = parsed(R"({"script":[
      {"atMs":1,"event":"guest-stops"},{"atMs":2,"event":"stops-with-error"},
      {"atMs":3,"event":"network-disconnects","error":{"description":"n"}},
      {"atMs":4,"event":"enters-error-state"},{"atMs":5,"event":"clicks-later"},
      {"atMs":6,"event":"clicks-done"},{"atMs":7,"event":"closes-window"}]})")
                                              .script;
  const std::vector<ScriptEvent> events = {
      ScriptEvent::guestStops,       ScriptEvent::stopsWithError, ScriptEvent::networkDisconnects,
      ScriptEvent::entersErrorState, ScriptEvent::clicksLater,    ScriptEvent::clicksDone,
      ScriptEvent::closesWindow};
  ASSERT_EQ(script.size(), events.size());
  for (std::size_t i = 0; i < script.size(); ++i) {
    EXPECT_EQ(script[i].event, events[i]);
    EXPECT_EQ(script[i].atMs, milliseconds(i + 1));
  }
  EXPECT_EQ(script[1].error.description, "simulated failure");
  EXPECT_EQ(script[2].error.description, "n");
}

}  // namespace
}  // namespace parlen::simulated
