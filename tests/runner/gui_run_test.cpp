#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <utility>

#include "input/gui_input_driver.h"
#include "platform/host.h"
#include "support/delegating_host.h"
#include "support/event_lines.h"
#include "support/tool.h"
#include "window/guest_window_controller.h"

namespace parlen::test {
namespace {

using Lines = std::vector<std::string>;

const std::string show = "{\"type\":\"window\",\"show\":true,\"title\":\"t\"}\n";
const std::string hide = "{\"type\":\"window\",\"show\":false}\n";

/// The tool's host with a desktop of the test's: what happens while it is opened, and whether that
/// fails.
class HostWithSlowDesktop : public DelegatingHost {
 public:
  using DelegatingHost::DelegatingHost;

  platform::Result<platform::WindowSystem*> windowSystem() override {
    ++asked;
    if (whileItOpens) whileItOpens();
    if (opens) return DelegatingHost::windowSystem();
    return std::unexpected(platform::PlatformError{"", 1, "no display: \"DISPLAY\" is not set"});
  }

  platform::Work whileItOpens;
  bool opens = false;
  int asked = 0;
};

/// Takes the desktop away from the tool's host; finding that out takes as long as `meanwhile`.
class WithoutDesktop {
 public:
  explicit WithoutDesktop(Tool& tool, platform::Work meanwhile = nullptr) : host(platform::host()) {
    host.whileItOpens = std::move(meanwhile);
    platform::usePlatform(&tool.system(), &host);
  }
  HostWithSlowDesktop host;
};

/// Makes the desktop of the tool's host take as long as `meanwhile`.
class WithSlowDesktop : public WithoutDesktop {
 public:
  WithSlowDesktop(Tool& tool, platform::Work meanwhile)
      : WithoutDesktop(tool, std::move(meanwhile)) {
    host.opens = true;
  }
};

/// The tool's host on a desktop whose user quits the application.
class HostThatQuits : public platform::Host, private platform::Application {
 public:
  explicit HostThatQuits(Tool& tool) : host_(platform::host()) {
    platform::usePlatform(&tool.system(), this);
  }

  platform::HostCapabilities& capabilities() override { return host_.capabilities(); }
  platform::GuestIdentities& identities() override { return host_.identities(); }
  platform::MachineFactory& machines() override { return host_.machines(); }
  platform::Restoration& restoration() override { return host_.restoration(); }
  platform::Application& application() override { return *this; }
  platform::Result<platform::WindowSystem*> windowSystem() override { return host_.windowSystem(); }

  void quit() { onQuit_(); }

 private:
  void setActivationPolicy(platform::ActivationPolicy) override {}
  void disableAutomaticTermination(std::string_view) override {}
  void setQuitHandler(platform::Work onQuit) override { onQuit_ = std::move(onQuit); }
  platform::Result<> run() override { return host_.application().run(); }

  platform::Host& host_;
  platform::Work onQuit_;
};

std::size_t count(const Lines& lines, const std::string& line) {
  return static_cast<std::size_t>(std::ranges::count(lines, line));
}

TEST(GuiRun, AsksTheHostInThisOrder) {
  Tool tool;
  EXPECT_EQ(tool.run({"run", "--bundle", tool.makeBundle("vm1"), "--gui"}), stillRunning());
  EXPECT_EQ(tool.calls(), (Lines{"configuration.validate", "machine.create", "machine.start",
                                 "application.setActivationPolicy", "view.create", "window.create",
                                 "window.setTitle", "window.setContentView", "window.setFrame",
                                 "window.setContentAspectRatio", "window.makeKeyAndOrderFront",
                                 "application.activate", "application.run"}));
  EXPECT_EQ(tool.events(), (Lines{ready, starting, running}));
}

TEST(GuiRun, ShowsTheGuestAtItsNaturalSizeUnderItsBundlesName) {
  Tool tool;
  EXPECT_EQ(tool.run({"run", "--gui", "--bundle", tool.makeBundle("vm1") + "//."}), stillRunning());
  const Lines trace = tool.trace();
  EXPECT_EQ(trace[3], R"({"call":"application.setActivationPolicy","policy":"regular"})");
  EXPECT_EQ(trace[4], R"({"call":"view.create","view":"machine-view","frame":[0,0,1920,1200],)"
                      R"("capturesSystemKeys":true,"automaticallyReconfiguresDisplay":false})");
  EXPECT_EQ(trace[5],
            R"({"call":"window.create","window":1,"contentRect":[0,0,1920,1200],"styleMask":15,)"
            R"("backing":2,"defer":false})");
  EXPECT_EQ(trace[6], R"({"call":"window.setTitle","window":1,"title":"Parlen VM — vm1"})");
}

TEST(GuiRun, LeavesTheHeadlessGuestsWindowWithoutAMachine) {
  Tool tool;
  tool.sendAt(10, show + hide);
  EXPECT_EQ(tool.run({"run", "--bundle", tool.makeBundle("vm1"), "--gui"}), stillRunning());
  EXPECT_EQ(tool.warnings(),
            "parlen-mac-vm: ignoring window: this run has no headless guest to show\n");
  EXPECT_EQ(tool.events(), (Lines{ready, starting, running}));
  EXPECT_EQ(tool.trace().back(),
            R"({"call":"application.setActivationPolicy","policy":"prohibited"})");
  EXPECT_EQ(count(tool.calls(), "window.create"), 1U);
  EXPECT_EQ(count(tool.calls(), "window.orderOut"), 0U);
}

TEST(GuiRun, GoesOnWhenItsWindowIsClosed) {
  Tool tool(R"({"script":[{"atMs":100,"event":"closes-window"}]})");
  tool.sendAt(200, "{\"type\":\"text\",\"text\":\"a\"}\n");
  EXPECT_EQ(tool.run({"run", "--bundle", tool.makeBundle("vm1"), "--gui"}), stillRunning());
  EXPECT_EQ(tool.events(), (Lines{ready, starting, running, textDone}));
}

TEST(GuiRun, OpensItsDesktopOnceItHearsItsParentAndSignals) {
  Tool tool;
  const WithSlowDesktop given(tool, [&] {
    EXPECT_EQ(tool.calls(), (Lines{"configuration.validate", "machine.create"}));
    EXPECT_TRUE(tool.system().streams().isRead());
    EXPECT_EQ(tool.system().process().watched.size(), 2U);
  });
  EXPECT_EQ(tool.run({"run", "--bundle", tool.makeBundle("vm1"), "--gui"}), stillRunning());
  EXPECT_EQ(given.host.asked, 1);
}

TEST(GuiRun, EndsAsAFailedStartWithoutADesktop) {
  Tool tool;
  const WithoutDesktop given(tool);
  EXPECT_EQ(tool.run({"run", "--bundle", tool.makeBundle("vm1"), "--gui"}), endedWith(1));
  const std::string reason = "no display: \"DISPLAY\" is not set";
  EXPECT_EQ(tool.events(), (Lines{ready, error("boot-failed", reason), stopped(reason, true)}));
  EXPECT_EQ(tool.calls(), (Lines{"configuration.validate", "machine.create", "application.run"}));
}

TEST(GuiRun, StopsOnASignalFromWhileItsDesktopOpens) {
  for (const auto signal :
       {platform::TerminationSignal::terminate, platform::TerminationSignal::interrupt}) {
    Tool tool;
    const WithSlowDesktop given(
        tool, [&] { EXPECT_TRUE(tool.system().process().raise(signal)) << "it would be killed"; });
    EXPECT_EQ(tool.run({"run", "--bundle", tool.makeBundle("vm1"), "--gui"}), endedWith(0));
    EXPECT_EQ(tool.events(), (Lines{ready, starting, hardStop}));
  }
}

TEST(GuiRun, StopsOnASignalEvenIfItsDesktopCannotBeOpened) {
  Tool tool;
  const WithoutDesktop given(tool, [&] {
    EXPECT_TRUE(tool.system().process().raise(platform::TerminationSignal::terminate));
  });
  EXPECT_EQ(tool.run({"run", "--bundle", tool.makeBundle("vm1"), "--gui"}), endedWith(0));
  EXPECT_EQ(tool.events(), (Lines{ready, hardStop}));
}

TEST(GuiRun, CarriesOutWhatWasSentWhileItsDesktopOpened) {
  Tool tool;
  const WithSlowDesktop given(
      tool, [&] { tool.system().streams().send("{\"type\":\"text\",\"text\":\"a\"}\n"); });
  EXPECT_EQ(tool.run({"run", "--bundle", tool.makeBundle("vm1"), "--gui"}), stillRunning());
  EXPECT_EQ(tool.events(), (Lines{ready, starting, running, textDone}));
}

TEST(GuiRun, DropsWhatWasSentIfItsDesktopCannotBeOpened) {
  Tool tool;
  const WithoutDesktop given(tool, [&] {
    tool.system().streams().send("{\"type\":\"text\",\"text\":\"a\"}\n{\"type\":\"stop\"}\n");
    tool.system().streams().closeInput();
  });
  EXPECT_EQ(tool.run({"run", "--bundle", tool.makeBundle("vm1"), "--gui"}), endedWith(1));
  ASSERT_EQ(tool.events().size(), 3U);
  EXPECT_THAT(tool.events()[1], testing::StartsWith(R"({"type":"error","code":"boot-failed")"));
}

TEST(GuiRun, NamesAnInvalidConfigurationBeforeAMissingDesktop) {
  Tool tool(R"({"configuration":{"validateError":{"description":"odd"}}})");
  const WithoutDesktop given(tool);
  EXPECT_EQ(tool.run({"run", "--bundle", tool.makeBundle("vm1"), "--gui"}), endedWith(1));
  EXPECT_EQ(given.host.asked, 0);
  EXPECT_EQ(tool.events().back(), error("boot-failed", "invalid VM configuration: odd"));
}

TEST(AnyRun, StopsHardAndOrderlyWhenItsUserQuits) {
  for (const std::string option : {"--gui", ""}) {
    Tool tool;
    HostThatQuits host(tool);
    tool.system().loop().postDelayed(std::chrono::milliseconds(10), [&] { host.quit(); });
    EXPECT_EQ(tool.run({"run", "--bundle", tool.makeBundle("vm1" + option), option}), endedWith(0));
    EXPECT_EQ(tool.events(), (Lines{ready, starting, running, hardStop}));
  }
}

TEST(AnyRun, StopsOnceWhenItsUserQuitsAgainAndASignalComes) {
  Tool tool(R"({"machine":{"stopMs":1000}})");
  HostThatQuits host(tool);
  for (const int at : {10, 20}) {
    tool.system().loop().postDelayed(std::chrono::milliseconds(at), [&] { host.quit(); });
  }
  tool.raiseAt(30, platform::TerminationSignal::terminate);
  EXPECT_EQ(tool.run({"run", "--bundle", tool.makeBundle("vm1"), "--gui"}), endedWith(0));
  EXPECT_EQ(tool.events(), (Lines{ready, starting, running, hardStop}));
}

TEST(HeadlessRunWithoutADesktop, WarnsOfEachShowAndGoesOn) {
  Tool tool;
  const WithoutDesktop given(tool);
  tool.sendAt(10, show + "{\"type\":\"pause\"}\n");
  EXPECT_EQ(tool.run({"run", "--bundle", tool.makeBundle("vm1")}), stillRunning());
  EXPECT_EQ(tool.warnings(),
            "parlen-mac-vm: cannot show the guest: no display: \"DISPLAY\" is not set\n");
  EXPECT_EQ(tool.events().back(), paused);
  EXPECT_EQ(tool.calls().back(), "machine.pause");
}

TEST(HeadlessRunWithoutADesktop, AsksForNoneUntilTheGuestIsToBeShown) {
  Tool tool;
  const WithoutDesktop given(tool);
  tool.sendAt(10, hide + "{\"type\":\"text\",\"text\":\"a\"}\n");
  EXPECT_EQ(tool.run({"run", "--bundle", tool.makeBundle("vm1")}), stillRunning());
  EXPECT_EQ(given.host.asked, 0);
  EXPECT_EQ(tool.warnings(), "");
}

TEST(HeadlessRun, TellsThatItsWindowIsClosedBeforeItHides) {
  Tool tool(R"({"script":[{"atMs":100,"event":"closes-window"}]})");
  tool.sendAt(10, show);
  EXPECT_EQ(tool.run({"run", "--bundle", tool.makeBundle("vm1")}), stillRunning());
  const Lines recording = tool.recording();
  ASSERT_GE(recording.size(), 3U);
  EXPECT_EQ(Lines(recording.end() - 3, recording.end()),
            (Lines{later, "window.orderOut", "application.setActivationPolicy"}));
}

TEST(HeadlessRun, GivesTheWindowItsMachineAndHasNoDriver) {
  Tool tool;
  EXPECT_EQ(tool.run({"run", "--bundle", tool.makeBundle("vm1")}), stillRunning());
  EXPECT_NE(guestWindow->virtualMachine, nullptr);
  EXPECT_EQ(inputDriver, nullptr);
}

TEST(StartUp, ForgetsWhatTheRunBeforeHasShown) {
  Tool tool;
  EXPECT_EQ(tool.run({"run", "--bundle", tool.makeBundle("vm1"), "--gui"}), stillRunning());
  EXPECT_NE(inputDriver, nullptr);
  EXPECT_EQ(tool.run({"run", "--bundle", tool.path("vm1")}), stillRunning());
  EXPECT_EQ(inputDriver, nullptr);
  EXPECT_EQ(tool.run({"run", "--bundle", tool.path("vm1"), "--gui"}), stillRunning());
  EXPECT_EQ(guestWindow->virtualMachine, nullptr);
}

}  // namespace
}  // namespace parlen::test
