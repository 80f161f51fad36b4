#include "platform/gtk/screen_space.h"

#include <gtest/gtest.h>

#include <limits>

namespace parlen::gtk {
namespace {

using platform::Rect;

constexpr ScreenRect mainScreen{.x = 0, .y = 0, .width = 1440, .height = 900};

TEST(ScreenSpace, HasItsOriginAtTheMainScreensLowerLeftCorner) {
  EXPECT_EQ(fromScreen(mainScreen, mainScreen), (Rect{0, 0, 1440, 900}));
  // A panel of 30 at the upper edge takes away from the top.
  EXPECT_EQ(fromScreen({0, 30, 1440, 870}, mainScreen), (Rect{0, 0, 1440, 870}));
}

TEST(ScreenSpace, CountsFromAMainScreenThatIsNotTheFirst) {
  constexpr ScreenRect right{.x = 1920, .y = 100, .width = 1440, .height = 900};
  EXPECT_EQ(fromScreen(right, right), (Rect{0, 0, 1440, 900}));
  // The screen to its left, 1080 high, with the upper edges 100 apart.
  EXPECT_EQ(fromScreen({0, 0, 1920, 1080}, right), (Rect{-1920, -80, 1920, 1080}));
}

TEST(ScreenSpace, LeadsBackToTheSamePlace) {
  constexpr ScreenRect main{.x = 300, .y = 200, .width = 1024, .height = 768};
  for (const ScreenRect& place : {ScreenRect{320, 260, 983, 614}, ScreenRect{-50, 0, 1, 1}}) {
    EXPECT_EQ(toScreen(fromScreen(place, main), main), place);
  }
}

TEST(ScreenSpace, CutsFractionsOff) {
  EXPECT_EQ(toScreen({10.75, 20.75, 100.5, 50.5}, mainScreen), (ScreenRect{10, 830, 100, 50}));
  EXPECT_EQ(toScreen({-0.5, 0, 1, 1}, mainScreen).x, -1);
}

TEST(ScreenSpace, KeepsWhatNoScreenCanHoldWithinWhatCanBeNamed) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  const ScreenRect place = toScreen({-infinity, 1e300, infinity, -5}, mainScreen);
  EXPECT_EQ(place.x, -32767);
  EXPECT_EQ(place.width, 32767);
  EXPECT_EQ(place.height, 0);
  EXPECT_EQ(toScreen({std::numeric_limits<double>::quiet_NaN(), 0, 1, 1}, mainScreen).x, -32767);
}

TEST(ScreenSpace, AddsAWindowsChromeOnTop) {
  constexpr Rect content{74, 20, 1291, 806};
  EXPECT_EQ(withTop(content, 28), (Rect{74, 20, 1291, 834}));
  EXPECT_EQ(withoutTop(withTop(content, 28.5), 28.5), content);
}

}  // namespace
}  // namespace parlen::gtk
