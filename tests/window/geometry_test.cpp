#include "window/geometry.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "platform/machine_configuration.h"

namespace parlen {
namespace {

using platform::Rect;
using platform::Size;

constexpr Size display{1920, 1200};
constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

TEST(GuestWindowFrame, ShrinksTheGuestToTheScreen) {
  const auto frames = guestWindowFrame(display, 1, {0, 0, 1440, 875}, 28);
  // 807 points of height are free; the 806 follow from the width of 1291 that was rounded first.
  EXPECT_EQ(frames.content, (Rect{74, 20, 1291, 806}));
  EXPECT_EQ(frames.frame, (Rect{74, 20, 1291, 834}));
}

TEST(GuestWindowFrame, NeverEnlargesTheGuest) {
  const auto frames = guestWindowFrame(display, 1, {0, 0, 2560, 1415}, 28);
  EXPECT_EQ(frames.content, (Rect{320, 93, 1920, 1200}));
  EXPECT_EQ(frames.frame, (Rect{320, 93, 1920, 1228}));
}

TEST(GuestWindowFrame, CountsPointsAndNotPixels) {
  for (const Rect& screen :
       {Rect{0, 0, 1440, 875}, Rect{0, 0, 2560, 1415}, Rect{-7, 9, 640, 480}}) {
    EXPECT_EQ(guestWindowFrame({3840, 2400}, 2, screen, 28),
              guestWindowFrame(display, 1, screen, 28));
  }
}

TEST(GuestWindowFrame, RoundsDownwardOnAScreenLeftOfTheMainOne) {
  const auto frames = guestWindowFrame(display, 1, {-1920, 0, 1920, 1055}, 28);
  EXPECT_EQ(frames.content, (Rect{-1750, 20, 1579, 986}));
  EXPECT_EQ(frames.frame, (Rect{-1750, 20, 1579, 1014}));
}

TEST(GuestWindowFrame, RoundsDownwardOnAScreenBelowTheMainOne) {
  const auto frames = guestWindowFrame({100, 100}, 1, {0, -300, 301, 201}, 0);
  EXPECT_EQ(frames.content, (Rect{100, -250, 100, 100}));
}

TEST(GuestWindowFrame, KeepsAFractionOfTheChrome) {
  const auto frames = guestWindowFrame(display, 1, {0, 0, 1440, 875}, 28.5);
  EXPECT_EQ(frames.content, (Rect{75, 20, 1290, 806}));
  EXPECT_EQ(frames.frame, (Rect{75, 20, 1290, 834.5}));
}

TEST(GuestWindowFrame, LeavesAPointOfRoomOnATinyScreen) {
  const auto frames = guestWindowFrame(display, 1, {0, 0, 10, 10}, 0);
  EXPECT_EQ(frames.content, (Rect{4, 5, 1, 0}));
  EXPECT_EQ(frames.frame, (Rect{4, 5, 1, 0}));
}

TEST(GuestWindowFrame, LeavesAPointUnderAChromeTallerThanTheScreen) {
  const auto frames = guestWindowFrame({100, 100}, 1, {0, 0, 500, 100}, 200);
  EXPECT_EQ(frames.content, (Rect{249, -51, 1, 1}));
  EXPECT_EQ(frames.frame, (Rect{249, -51, 1, 201}));
}

TEST(GuestWindowFrame, MakesTheFrameShorterForANegativeChrome) {
  const auto frames = guestWindowFrame(display, 1, {0, 0, 2560, 1415}, -10);
  EXPECT_EQ(frames.content, (Rect{320, 112, 1920, 1200}));
  EXPECT_EQ(frames.frame, (Rect{320, 112, 1920, 1190}));
}

TEST(GuestWindowFrame, KeepsTheGivenMargin) {
  // A square guest on a wide screen: the height decides.
  EXPECT_EQ(guestWindowFrame({1000, 1000}, 1, {0, 0, 2000, 500}, 0, 0).content,
            (Rect{750, 0, 500, 500}));
  EXPECT_EQ(guestWindowFrame({1000, 1000}, 1, {0, 0, 2000, 500}, 0, 100).content,
            (Rect{850, 100, 300, 300}));
  EXPECT_EQ(guestWindowMargin, 20.0);
  EXPECT_EQ(guestWindowFrame({1000, 1000}, 1, {0, 0, 2000, 500}, 0),
            guestWindowFrame({1000, 1000}, 1, {0, 0, 2000, 500}, 0, 20));
}

TEST(GuestWindowFrame, AppliesTheMarginToTheSizeAndNotTheOrigin) {
  EXPECT_EQ(guestWindowFrame({460, 100}, 1, {1000, 2000, 500, 500}, 0).content,
            (Rect{1020, 2200, 460, 100}));
}

TEST(GuestWindowFrame, FitsATallGuestByItsHeight) {
  EXPECT_EQ(guestWindowFrame({600, 1200}, 1, {0, 0, 1440, 640}, 0).content,
            (Rect{570, 20, 300, 600}));
}

TEST(GuestWindowFrame, GivesAGuestWithoutHeightNone) {
  EXPECT_EQ(guestWindowFrame({100, 0}, 1, {0, 0, 500, 500}, 10).frame, (Rect{200, 245, 100, 10}));
}

TEST(GuestWindowFrame, FollowsTheArithmeticForANegativeGuest) {
  EXPECT_EQ(guestWindowFrame({-100, 200}, 1, {0, 0, 1440, 1040}, 0).content,
            (Rect{20, 1920, 1400, -2800}));
}

TEST(GuestWindowFrame, KeepsNumbersTooLargeForAFraction) {
  const double big = 9007199254740992.0;  // 2^53
  EXPECT_EQ(guestWindowFrame({100, 100}, 1, {big, -big, 100, 100}, 0, 0).content,
            (Rect{big, -big, 100, 100}));
  EXPECT_EQ(guestWindowFrame({100, 100}, 1, {1e300, -1e300, 100, 100}, 0, 0).content,
            (Rect{1e300, -1e300, 100, 100}));
}

TEST(GuestWindowFrame, RoundsDownLikeStdFloor) {
  const double values[] = {0.0,
                           0.5,
                           -0.5,
                           0.999999,
                           -0.000001,
                           1.0,
                           -1.0,
                           1e15 + 0.5,
                           -1e15 - 0.5,
                           4503599627370495.5,
                           -4503599627370495.5,
                           4503599627370496.0,
                           -4503599627370496.0,
                           1e18,
                           -1e18,
                           5e-324};
  for (const double value : values) {
    // The guest is as large as the screen, so the origin is the screen's, rounded.
    EXPECT_EQ(guestWindowFrame({8, 8}, 1, {value, value, 8, 8}, 0, 0).content,
              (Rect{std::floor(value), std::floor(value), 8, 8}))
        << value;
  }
}

TEST(GuestWindowFrame, HasNoHeightForAGuestWithoutWidth) {
  const auto frames = guestWindowFrame({0, 1200}, 1, {0, 0, 1440, 875}, 28);
  EXPECT_EQ(frames.content.width, 0);
  EXPECT_TRUE(std::isnan(frames.content.height));
  EXPECT_TRUE(std::isnan(frames.frame.height));
}

TEST(GuestWindowFrame, ReturnsFromNumbersThatMakeNoSense) {
  EXPECT_TRUE(std::isnan(guestWindowFrame(display, 0, {0, 0, 1440, 875}, 28).content.width));
  EXPECT_TRUE(std::isnan(guestWindowFrame({notANumber, 1}, 1, {0, 0, 9, 9}, 0).content.width));
  EXPECT_TRUE(std::isnan(guestWindowFrame({infinity, 1}, 1, {0, 0, 9, 9}, 0).content.width));
  EXPECT_TRUE(std::isnan(guestWindowFrame(display, 1, {notANumber, 0, 9, 9}, 0).content.x));
  EXPECT_TRUE(std::isnan(guestWindowFrame(display, 1, {0, 0, notANumber, 9}, 0).content.x));
  EXPECT_TRUE(std::isnan(guestWindowFrame(display, 1, {0, 0, 9, notANumber}, 0).content.y));
  EXPECT_TRUE(std::isnan(guestWindowFrame(display, 1, {0, 0, 9, 9}, notANumber).frame.height));
  EXPECT_EQ(guestWindowFrame(display, 1, {-infinity, 0, 9, 9}, 0).content.x, -infinity);
  EXPECT_EQ(guestWindowFrame(display, 1, {0, 0, infinity, infinity}, 0).content.y, infinity);
}

TEST(GuestWindowFrame, KeepsItsContractOnEveryScreen) {
  for (double screenWidth = 41; screenWidth < 4000; screenWidth += 127.25) {
    for (double screenHeight = 75; screenHeight < 2500; screenHeight += 133.5) {
      for (const double chrome : {0.0, 28.0, 34.5}) {
        const Rect screen{-500.5, 33.25, screenWidth, screenHeight};
        const auto [content, frame] = guestWindowFrame(display, 1, screen, chrome);
        EXPECT_EQ(frame, (Rect{content.x, content.y, content.width, content.height + chrome}));
        EXPECT_LE(content.width, std::max(1.0, screenWidth - 40));
        EXPECT_LE(content.height, std::max(1.0, screenHeight - 40 - chrome));
        EXPECT_LE(content.width, display.width);
        EXPECT_EQ(content.height, std::floor(display.height * content.width / display.width));
        // Centred, up to the rounding.
        const double left = content.x - screen.x;
        const double right = screen.width - content.width - left;
        EXPECT_GE(right, left);
        EXPECT_LE(right - left, 2);
      }
    }
  }
}

TEST(Display, IsTheOneThatEveryGuestHas) {
  EXPECT_EQ(vmDisplayWidth, 1920);
  EXPECT_EQ(vmDisplayHeight, 1200);
  EXPECT_EQ(vmDisplayPixelsPerInch, 80);
}

}  // namespace
}  // namespace parlen
