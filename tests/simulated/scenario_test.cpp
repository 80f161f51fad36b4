#include "platform/simulated/scenario.h"

#include <gtest/gtest.h>
#include <string>

namespace parlen::simulated {
namespace {

using platform::PlatformError;

/// Parses a valid scenario.
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
  EXPECT_FALSE(machine.inUse);
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
      "startError":{"description":"s"},"inUse":true,"canRequestStop":false,
      "requestStopError":{"description":"q"},"shutdownMs":2,"stopMs":3,
      "stopError":{"description":"t"},"pauseMs":4,"pauseError":{"description":"p"},
      "resumeMs":1000000000000,"resumeError":{"description":"u"}}})")
                                      .machine;
  EXPECT_EQ(machine.startMs, milliseconds(1));
  EXPECT_EQ(machine.startError->description, "s");
  EXPECT_TRUE(machine.inUse);
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
      {"atMs":6,"event":"clicks-done"},{"atMs":7,"event":"closes-window"},
      {"atMs":8,"event":"guest-panics"},{"atMs":9,"event":"disk-fills","error":{"description":"f"}},
      {"atMs":10,"event":"disk-has-room"}]})")
                                              .script;
  const std::vector<ScriptEvent> events = {
      ScriptEvent::guestStops,       ScriptEvent::stopsWithError, ScriptEvent::networkDisconnects,
      ScriptEvent::entersErrorState, ScriptEvent::clicksLater,    ScriptEvent::clicksDone,
      ScriptEvent::closesWindow,     ScriptEvent::guestPanics,    ScriptEvent::diskFills,
      ScriptEvent::diskHasRoom};
  ASSERT_EQ(script.size(), events.size());
  for (std::size_t i = 0; i < script.size(); ++i) {
    EXPECT_EQ(script[i].event, events[i]);
    EXPECT_EQ(script[i].atMs, milliseconds(i + 1));
  }
  EXPECT_EQ(script[1].error.description, "simulated failure");
  EXPECT_EQ(script[2].error.description, "n");
  EXPECT_EQ(script[8].error.description, "f");
}

/// The error of a scenario, or "" if it is valid.
std::string problem(std::string_view json) {
  const auto scenario = parseScenario(json);
  return scenario ? "" : scenario.error();
}

/// A scenario with one member: {"machine":{"startMs":<value>}} for "machine", "startMs".
std::string with(const std::string& group, const std::string& member, const std::string& value) {
  return "{\"" + group + "\":{\"" + member + "\":" + value + "}}";
}

struct Kind {
  std::string group;
  std::vector<std::string> members;
  std::string problem;
  std::vector<std::string> refused;
};

const std::string count = " must be a whole number, not negative, of 64 bits";
const std::string time = " must be a whole number of milliseconds";
const std::vector<std::string> noCount = {"-1",   "1.5", "1e20", "\"1\"", "true",
                                          "null", "[]",  "{}",   "-0.5",  "18446744073709551616"};
const std::vector<std::string> noBoolean = {"0", "1", "\"true\"", "null", "[]", "{}"};
const std::vector<std::string> noObject = {"0", "\"\"", "true", "null", "[]"};

/// Every member, with values that are errors.
const std::vector<Kind> kinds = {
    {"host", {"supported"}, " must be true or false", noBoolean},
    {"host", {"processorCount", "minimumCPUCount", "maximumCPUCount"}, count, noCount},
    {"host", {"minimumMemorySize", "maximumMemorySize"}, count, noCount},
    {"host", {"hardwareModels"}, " must be a list", {"\"sim-1\"", "null", "{}", "1"}},
    {"restoreImage", {"loadMs"}, time, noCount},
    {"restoreImage", {"error"}, " must be an object", noObject},
    {"install", {"progress"}, " must be a list", {"0", "null", "{}", "\"\""}},
    {"install", {"stepMs"}, time, noCount},
    {"install", {"error"}, " must be an object", noObject},
    {"configuration", {"attachError", "validateError"}, " must be an object", noObject},
    {"machine", {"startMs", "pauseMs", "resumeMs"}, time, noCount},
    {"machine", {"startError", "requestStopError", "stopError"}, " must be an object", noObject},
    {"machine", {"pauseError", "resumeError"}, " must be an object", noObject},
    {"machine", {"canRequestStop", "inUse"}, " must be true or false", noBoolean},
    {"machine", {"shutdownMs", "stopMs"}, time + ", or null", {"-1", "0.5", "\"\"", "false"}},
    {"window",
     {"visibleFrame"},
     " must be the four numbers [x, y, width, height], or null",
     {"[]", "[1,2,3]", "[1,2,3,4,5]", "[1,2,3,\"4\"]", "{}", "0"}},
    {"window", {"chrome"}, " must be a number", {"\"28\"", "null", "true", "[28]"}},
    {"window", {"unbuildableKeyCodes"}, " must be a list", {"1", "null", "{}"}},
    {"window", {"views"}, " must be an object", noObject},
};

TEST(ScenarioErrors, RefusesEveryMemberOfTheWrongType) {
  for (const Kind& kind : kinds) {
    for (const std::string& member : kind.members) {
      for (const std::string& value : kind.refused) {
        EXPECT_EQ(problem(with(kind.group, member, value)),
                  kind.group + "." + member + kind.problem)
            << value;
      }
    }
  }
}

TEST(ScenarioErrors, RefusesAGroupThatIsNoObject) {
  for (const std::string group :
       {"host", "restoreImage", "install", "configuration", "machine", "window"}) {
    EXPECT_EQ(problem("{\"" + group + "\":[]}"), group + " must be an object");
  }
  EXPECT_EQ(problem(R"({"script":{}})"), "script must be a list");
  EXPECT_EQ(problem("[]"), "the document must be an object");
  EXPECT_EQ(problem("null"), "the document must be an object");
}

TEST(ScenarioErrors, RefusesUnknownMembersAtEveryLevel) {
  EXPECT_EQ(problem(R"({"Host":{}})"), "unknown member 'Host'");
  EXPECT_EQ(problem(R"({"":{}})"), "unknown member ''");
  for (const std::string group :
       {"host", "restoreImage", "install", "configuration", "machine", "window"}) {
    EXPECT_EQ(problem(with(group, "surprise", "1")), "unknown member '" + group + ".surprise'");
  }
  EXPECT_EQ(problem(R"({"machine":{"startMS":1}})"), "unknown member 'machine.startMS'");
  EXPECT_EQ(problem(R"({"install":{"error":{"Code":1}}})"), "unknown member 'install.error.Code'");
  EXPECT_EQ(problem(R"({"window":{"views":{"subviews":[{},{"names":""}]}}})"),
            "unknown member 'window.views.subviews[1].names'");
  EXPECT_EQ(problem(R"({"script":[{"atMs":1,"event":"guest-stops","at":1}]})"),
            "unknown member 'script[0].at'");
}

TEST(ScenarioErrors, RefusesATimeThatTheClockCannotHold) {
  EXPECT_EQ(problem(R"({"machine":{"startMs":1000000000001}})"),
            "machine.startMs must be at most 1000000000000");
  EXPECT_EQ(problem(R"({"machine":{"stopMs":9223372036854775807}})"),
            "machine.stopMs must be at most 1000000000000, or null");
}

TEST(ScenarioErrors, NamesTheElementOfAList) {
  EXPECT_EQ(problem(R"({"host":{"hardwareModels":["a",1]}})"),
            "host.hardwareModels[1] must be a string");
  EXPECT_EQ(problem(R"({"install":{"progress":[0,"1"]}})"), "install.progress[1] must be a number");
  EXPECT_EQ(problem(R"({"window":{"unbuildableKeyCodes":[1,65536]}})"),
            "window.unbuildableKeyCodes[1] must be a whole number from 0 to 65535");
  EXPECT_EQ(problem(R"({"window":{"unbuildableKeyCodes":[-1]}})"),
            "window.unbuildableKeyCodes[0] must be a whole number from 0 to 65535");
  EXPECT_EQ(problem(R"({"window":{"views":{"subviews":[[]]}}})"),
            "window.views.subviews[0] must be an object");
}

TEST(ScenarioErrors, RefusesTheMembersOfAnErrorAndAViewOfTheWrongType) {
  EXPECT_EQ(problem(R"({"install":{"error":{"domain":1}}})"),
            "install.error.domain must be a string");
  EXPECT_EQ(problem(R"({"install":{"error":{"code":1.5}}})"),
            "install.error.code must be a whole number of 64 bits");
  EXPECT_EQ(problem(R"({"install":{"error":{"description":null}}})"),
            "install.error.description must be a string");
  EXPECT_EQ(problem(R"({"window":{"views":{"name":1}}})"), "window.views.name must be a string");
  EXPECT_EQ(problem(R"({"window":{"views":{"acceptsFirstResponder":1}}})"),
            "window.views.acceptsFirstResponder must be true or false");
  EXPECT_EQ(problem(R"({"window":{"views":{"subviews":{}}}})"),
            "window.views.subviews must be a list");
}

TEST(ScenarioErrors, RefusesScriptEntriesThatLackSomething) {
  EXPECT_EQ(problem(R"({"script":[{"event":"guest-stops"}]})"), "script[0].atMs is missing");
  EXPECT_EQ(problem(R"({"script":[{"atMs":1,"event":"guest-stops"},{"atMs":1}]})"),
            "script[1].event is missing");
  EXPECT_EQ(problem(R"({"script":[1]})"), "script[0] must be an object");
  EXPECT_EQ(problem(R"({"script":[{"atMs":-1,"event":"guest-stops"}]})"),
            "script[0].atMs must be a whole number of milliseconds");
}

TEST(ScenarioErrors, RefusesUnknownEvents) {
  EXPECT_EQ(problem(R"({"script":[{"atMs":1,"event":"guest-stop"}]})"),
            "script[0].event is 'guest-stop' and must be one of: guest-stops, stops-with-error, "
            "network-disconnects, enters-error-state, clicks-later, clicks-done, closes-window, "
            "guest-panics, disk-fills, disk-has-room");
  EXPECT_EQ(problem(R"({"script":[{"atMs":1,"event":1}]})"), "script[0].event must be a string");
}

TEST(ScenarioErrors, RefusesAnErrorWhereTheEventHasNone) {
  for (const std::string event :
       {"guest-stops", "enters-error-state", "clicks-later", "clicks-done", "closes-window",
        "guest-panics", "disk-has-room"}) {
    EXPECT_EQ(problem(R"({"script":[{"atMs":1,"error":{},"event":")" + event + R"("}]})"),
              "script[0].error does not go with the event '" + event + "'");
  }
  EXPECT_EQ(problem(R"({"script":[{"atMs":1,"event":"stops-with-error","error":1}]})"),
            "script[0].error must be an object");
}

TEST(ScenarioErrors, SaysWhereATextIsNotJson) {
  EXPECT_TRUE(problem("{\"host\":").starts_with("not JSON: "));
  EXPECT_TRUE(problem("{\"host\":").ends_with(" at byte 8"));
  EXPECT_TRUE(problem("").starts_with("not JSON: "));
}

}  // namespace
}  // namespace parlen::simulated
