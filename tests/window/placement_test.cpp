#include "window/placement.h"

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

TEST_F(Placement, CentresAWindowOnTheMainScreenAndFixesItsProportions) {
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

TEST_F(Placement, MeasuresTheChromeOfTheFrameThatTheWindowHasNow) {
  window_.place = {500, 500, 10, 40};
  EXPECT_EQ(placed().front(), "0 setFrame [76 20 1288 835] at once");
}

TEST_F(Placement, OnlySetsSizeAndProportionsWhereThereIsNoScreen) {
  desktop_.mainScreen = std::nullopt;
  EXPECT_EQ(placed(),
            (Calls{"0 setContentSize [1920 1200]", "0 setContentAspectRatio [1920 1200]"}));
}

}  // namespace
}  // namespace parlen::test
