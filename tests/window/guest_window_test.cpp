#include "window/guest_window.h"

#include "input/gui_input_driver.h"
#include "window_fixture.h"

namespace parlen::test {
namespace {

/// The recorded window's chrome is 30 points.
class Placement : public WindowFixture {
 protected:
  Calls placed() {
    placeGuestWindow(window_, desktop_);
    return recording_.take();
  }

  RecordingWindow window_{recording_};
};

TEST_F(Placement, CentresAWindowAndFixesItsProportions) {
  desktop_.mainScreen = platform::Rect{0, 0, 2560, 1415};
  EXPECT_EQ(placed(), (Calls{"0 setFrame [320 92 1920 1230] at once",
                             "0 setContentAspectRatio [1920 1200]"}));
}

TEST_F(Placement, ShrinksAWindowToFitWithItsOwnChrome) {
  // 875 less twice the margin less 30 leaves 805 points: 1288 wide.
  EXPECT_EQ(placed(),
            (Calls{"0 setFrame [76 20 1288 835] at once", "0 setContentAspectRatio [1920 1200]"}));
}

TEST_F(Placement, PrefersTheWindowsOwnScreenToTheMainOne) {
  window_.screen = platform::Rect{-1920, 0, 1920, 1055};
  EXPECT_EQ(placed().front(), "0 setFrame [-1748 20 1576 1015] at once");
}

TEST_F(Placement, MeasuresTheChromeOfTheWindowsPresentFrame) {
  window_.place = {500, 500, 10, 40};
  EXPECT_EQ(placed().front(), "0 setFrame [76 20 1288 835] at once");
}

TEST_F(Placement, SetsOnlySizeAndProportionsWithoutAScreen) {
  desktop_.mainScreen = std::nullopt;
  EXPECT_EQ(placed(),
            (Calls{"0 setContentSize [1920 1200]", "0 setContentAspectRatio [1920 1200]"}));
}

class PresentWindow : public WindowFixture {
 protected:
  ~PresentWindow() override { inputDriver.reset(); }
};

TEST_F(PresentWindow, MakesAPlainWindowAndBringsItToTheFront) {
  const auto window = presentWindow(desktop_, machine_, "Parlen VM — vm1");
  EXPECT_EQ(recording_.take(),
            (Calls{"0 policy regular", "0 makeMachineView [0 0 1920 1200] capturing",
                   "0 makeWindow [0 0 1920 1200] 15 2", "0 setTitle 'Parlen VM — vm1'",
                   "0 setContentView", "0 setFrame [76 20 1288 835] at once",
                   "0 setContentAspectRatio [1920 1200]", "0 makeKeyAndOrderFront", "0 activate"}));
  EXPECT_EQ(desktop_.shownMachine, &machine_);
  EXPECT_EQ(desktop_.window->windowDelegate, nullptr);
}

TEST_F(PresentWindow, SetsTheDriverThatTypesIntoItsView) {
  const auto window = presentWindow(desktop_, machine_, "");
  ASSERT_NE(inputDriver, nullptr);
  EXPECT_EQ(inputDriver->responderTarget(), desktop_.view);
}

TEST_F(PresentWindow, ReplacesTheDriverOfAnotherWindow) {
  const auto first = presentWindow(desktop_, machine_, "");
  const auto driver = inputDriver;
  driver->enqueue({"text", {KeyStroke{0, {}, "a"}}, 60});
  const auto second = presentWindow(desktop_, machine_, "");
  EXPECT_NE(inputDriver, driver);
  recording_.take();
  inputDriver->enqueue({"text",
                        {KeyStroke{0, {"cmd"}, "a"}},
                        60});  // starts at once: the other driver has its own queue
  EXPECT_EQ(recording_.take().back(), "0 flags 55 0x100008");
}

}  // namespace
}  // namespace parlen::test
