#include "app/host_choice.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/tool.h"

namespace parlen::test {
namespace {

class FakeNative : public platform::NativePlatform {
 public:
  explicit FakeNative(platform::System& system) : system_(system) {}
  platform::System& system() override { return system_; }
  std::string_view hostName() const override { return "native"; }
  std::unique_ptr<platform::Host> makeHost(platform::WarningSink) override {
    ++hostsMade;
    return nullptr;
  }

  platform::Result<> openConsole(const std::string& path) override {
    consoles.push_back(path);
    if (path == "/full/console") return platform::error("Test", 1, "the disk is full");
    return {};
  }
  bool showsForeignMachines() const override { return showsForeign; }

  int hostsMade = 0;
  std::vector<std::string> consoles;
  bool showsForeign = false;

 private:
  platform::System& system_;
};

class ChoosingTheHost : public testing::Test {
 protected:
  std::string errorFor(const HostChoice& choice) {
    try {
      (void)makeChosenHost(choice, native_);
    } catch (const ProcessEnded& end) {
      EXPECT_EQ(end.status, 1);
      return tool_.events().back();
    }
    return "none";
  }

  Tool tool_;
  FakeNative native_{tool_.system()};
};

TEST_F(ChoosingTheHost, TakesTheNativeOneUnlessToldOtherwise) {
  (void)makeChosenHost({}, native_);
  (void)makeChosenHost({.host = "native", .scenario = "/none", .trace = "/none/x"}, native_);
  EXPECT_EQ(native_.hostsMade, 2);
}

TEST_F(ChoosingTheHost, TakesTheSimulatedOneByItsName) {
  const auto host = makeChosenHost({.host = "simulated", .scenario = "", .trace = ""}, native_);
  EXPECT_EQ(native_.hostsMade, 0);
  EXPECT_EQ(host->capabilities().processorCount(), 8);
}

TEST_F(ChoosingTheHost, RefusesEveryOtherWord) {
  (void)tool_.run({});  // sets the output up
  EXPECT_EQ(errorFor({.host = "Simulated"}),
            R"({"type":"error","code":"bad-usage","message":"unknown PARLEN_HOST 'Simulated'"})");
  EXPECT_EQ(errorFor({.host = ""}),
            R"({"type":"error","code":"bad-usage","message":"unknown PARLEN_HOST ''"})");
}

TEST_F(ChoosingTheHost, ShowsTheSimulatedMachineInNativeWindows) {
  native_.showsForeign = true;
  const auto host = makeChosenHost({.host = "simulated", .windows = "native"}, native_);
  EXPECT_EQ(native_.hostsMade, 1);
  EXPECT_EQ(host->capabilities().processorCount(), 8);
}

TEST_F(ChoosingTheHost, RefusesWindowsThatTheSystemDoesNotHave) {
  (void)tool_.run({});
  EXPECT_TRUE(errorFor({.host = "simulated", .windows = "native"})
                  .contains("unknown PARLEN_WINDOWS 'native'"));
  EXPECT_TRUE(
      errorFor({.host = "simulated", .windows = "gtk"}).contains("unknown PARLEN_WINDOWS 'gtk'"));
}

TEST_F(ChoosingTheHost, OpensTheConsoleOfTheNativeOneAlone) {
  (void)makeChosenHost({.console = ""}, native_);
  (void)makeChosenHost({.host = "simulated", .console = "/console"}, native_);
  EXPECT_EQ(native_.consoles, std::vector<std::string>{});

  (void)makeChosenHost({.console = "/console"}, native_);
  EXPECT_EQ(native_.consoles, std::vector<std::string>{"/console"});
}

TEST_F(ChoosingTheHost, RefusesAConsoleThatCannotBeOpened) {
  (void)tool_.run({});
  EXPECT_EQ(
      errorFor({.console = "/full/console"}),
      R"({"type":"error","code":"bad-usage","message":"unusable console \/full\/console: the disk is full"})");
  EXPECT_EQ(native_.hostsMade, 0);
}

TEST_F(ChoosingTheHost, RefusesAScenarioThatCannotBeUsed) {
  (void)tool_.run({});
  tool_.write("typo.json", R"({"machine":{"startMS":5}})");
  const std::string error = errorFor({.host = "simulated", .scenario = tool_.path("typo.json")});
  EXPECT_TRUE(
      error.starts_with(R"({"type":"error","code":"bad-usage","message":"unusable scenario )"))
      << error;
  EXPECT_TRUE(error.contains("startMS")) << error;
}

}  // namespace
}  // namespace parlen::test
