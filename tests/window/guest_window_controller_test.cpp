#include "window/guest_window_controller.h"

#include "window_fixture.h"

namespace parlen::test {
namespace {

const std::string later = R"({"type":"window-action","action":"later"})";
const std::string done = R"({"type":"window-action","action":"done"})";

/// The controller of a headless run, unless a test takes its machine away.
class GuestWindow : public WindowFixture {
 protected:
  GuestWindow() { controller_.virtualMachine = &machine_; }

  Calls shown(const std::string& title = "", const std::string& detail = "") {
    controller_.show(title, detail);
    return recording_.take();
  }
  Calls hidden() {
    controller_.hide();
    return recording_.take();
  }
  const platform::BarButton& button(std::size_t index) {
    return std::get<platform::BarButton>(desktop_.window->accessory->bar.views.at(index));
  }
  const platform::BarButton& laterButton() { return button(3); }
  const platform::BarButton& doneButton() { return button(4); }

  GuestWindowController controller_;
};

TEST_F(GuestWindow, IsBuiltAndBroughtToTheFrontByTheFirstShow) {
  EXPECT_EQ(
      shown("Installing", "step 2 of 3"),
      (Calls{"0 title 'Installing'", "0 detail 'step 2 of 3'", "0 policy regular",
             "0 setMainMenu ['Hide'hide:'']", "0 makeMachineView [0 0 1920 1200] capturing",
             "0 makeWindow [0 0 1920 1200] 15 2", "0 setTitle 'Background desktop'",
             "0 keepWhenClosed", "0 setDelegate", "0 setContentView",
             "0 setInitialFirstResponder the machine view", "0 addTitlebarAccessory",
             "0 setFrame [76 20 1288 835] at once", "0 setContentAspectRatio [1920 1200]",
             "0 makeKeyAndOrderFront", "0 makeFirstResponder the machine view", "0 activate"}));
  EXPECT_EQ(desktop_.shownMachine, &machine_);
  EXPECT_EQ(desktop_.window->windowDelegate, &controller_);
  EXPECT_EQ(system_.streams().output, "");
  EXPECT_EQ(system_.streams().error, "");
}

TEST_F(GuestWindow, OnlyGetsItsTextsAndTheFocusWhenItIsThereAlready) {
  shown("one", "1");
  EXPECT_EQ(shown("two", "2"),
            (Calls{"0 title 'two'", "0 detail '2'", "0 policy regular", "0 makeKeyAndOrderFront",
                   "0 makeFirstResponder the machine view", "0 activate"}));
}

TEST_F(GuestWindow, LeavesAMainMenuThatIsThereAlone) {
  desktop_.menu = true;
  EXPECT_EQ(shown().at(3), "0 makeMachineView [0 0 1920 1200] capturing");
}

TEST_F(GuestWindow, IsOrderedOutAndPlacedAnewTheNextTime) {
  shown();
  EXPECT_EQ(hidden(), (Calls{"0 orderOut", "0 policy prohibited"}));
  EXPECT_EQ(
      shown("again", ""),
      (Calls{"0 title 'again'", "0 detail ''", "0 policy regular",
             "0 setFrame [76 20 1288 835] at once", "0 setContentAspectRatio [1920 1200]",
             "0 makeKeyAndOrderFront", "0 makeFirstResponder the machine view", "0 activate"}));
}

TEST_F(GuestWindow, IsOrderedOutAgainWhenHiddenTwice) {
  shown();
  hidden();
  EXPECT_EQ(hidden(), (Calls{"0 orderOut", "0 policy prohibited"}));
}

TEST_F(GuestWindow, SwitchesThePolicyWhenHiddenBeforeThereIsAWindow) {
  EXPECT_EQ(hidden(), Calls{"0 policy prohibited"});
  controller_.virtualMachine = nullptr;
  EXPECT_EQ(hidden(), Calls{"0 policy prohibited"});
}

TEST_F(GuestWindow, NeedsNoDesktopToBeHidden) {
  RecordingHost bare(recording_, std::unexpected(platform::PlatformError{"", 1, "no display"}));
  platform::usePlatform(&system_, &bare);
  EXPECT_EQ(hidden(), Calls{"0 policy prohibited"});
  EXPECT_EQ(system_.streams().error, "");
}

TEST_F(GuestWindow, IsOnlyANoteWithoutAMachine) {
  controller_.virtualMachine = nullptr;
  EXPECT_EQ(shown("a", "b"), Calls{});
  EXPECT_EQ(system_.streams().error,
            "parlen-mac-vm: ignoring window: this run has no headless guest to show\n");
  EXPECT_EQ(system_.streams().output, "");
}

TEST_F(GuestWindow, IsOnlyAWarningWithoutADesktop) {
  RecordingHost bare(recording_, std::unexpected(platform::PlatformError{"", 1, "no display"}));
  platform::usePlatform(&system_, &bare);
  EXPECT_EQ(shown("a", "b"), Calls{});
  EXPECT_EQ(system_.streams().error, "parlen-mac-vm: cannot show the guest: no display\n");
  EXPECT_EQ(system_.streams().output, "");
}

TEST_F(GuestWindow, CanBeShownOnceThereIsADesktop) {
  RecordingHost bare(recording_, std::unexpected(platform::PlatformError{"", 1, "no display"}));
  platform::usePlatform(&system_, &bare);
  shown();
  platform::usePlatform(&system_, &host_);
  EXPECT_EQ(shown().back(), "0 activate");
}

TEST_F(GuestWindow, TellsEachPressOfAButtonAndStays) {
  shown();
  doneButton().onPress();
  EXPECT_EQ(system_.streams().output, done + "\n");
  laterButton().onPress();
  doneButton().onPress();
  EXPECT_EQ(system_.streams().lines(), (Calls{done, later, done}));
  EXPECT_EQ(recording_.take(), Calls{});
  EXPECT_TRUE(desktop_.window->visible);
}

TEST_F(GuestWindow, HidesAndNeverClosesOnItsCloseButton) {
  shown();
  EXPECT_FALSE(desktop_.window->windowDelegate->windowShouldClose());
  EXPECT_EQ(system_.streams().lines(), Calls{later});
  EXPECT_EQ(recording_.take(), (Calls{"0 orderOut", "0 policy prohibited"}));
  EXPECT_EQ(shown().at(3), "0 setFrame [76 20 1288 835] at once");
}

TEST_F(GuestWindow, ReadsItsMachineOnlyWhenItIsBuilt) {
  shown();
  UntouchedMachine other;
  controller_.virtualMachine = &other;
  hidden();
  shown();
  EXPECT_EQ(desktop_.shownMachine, &machine_);
}

}  // namespace
}  // namespace parlen::test
