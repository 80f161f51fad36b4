#include "window/window_size_request.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace parlen {
namespace {

using platform::Rect;
using platform::Size;
using Text = std::optional<std::string>;

constexpr double infinity = std::numeric_limits<double>::infinity();
const std::string screen = "0,0,1440,875";

std::optional<Size> guestOf(const Text& guest) {
  const auto request = parseWindowSizeRequest(guest, {}, screen, {});
  return request ? std::optional(request->guestPixels) : std::nullopt;
}

std::optional<Rect> visibleOf(const Text& visible) {
  const auto request = parseWindowSizeRequest({}, {}, visible, {});
  return request ? std::optional(request->visibleFrame) : std::nullopt;
}

std::optional<double> scaleOf(const Text& scale) {
  const auto request = parseWindowSizeRequest({}, scale, screen, {});
  return request ? std::optional(request->guestScale) : std::nullopt;
}

std::optional<double> chromeOf(const Text& chrome) {
  const auto request = parseWindowSizeRequest({}, {}, screen, chrome);
  return request ? std::optional(request->chrome) : std::nullopt;
}

TEST(WindowSizeRequest, IsForTheGuestsOwnDisplayUnlessTold) {
  EXPECT_EQ(parseWindowSizeRequest({}, {}, screen, {}),
            (WindowSizeRequest{{1920, 1200}, 1, {0, 0, 1440, 875}, 0}));
}

TEST(WindowSizeRequest, TakesWhatIsGiven) {
  EXPECT_EQ(parseWindowSizeRequest("3840x2400", "2", "-1920,-5.5,1920,1055", "28.5"),
            (WindowSizeRequest{{3840, 2400}, 2, {-1920, -5.5, 1920, 1055}, 28.5}));
}

TEST(WindowSizeRequest, ReadsAGuestOfTwoNumbers) {
  EXPECT_EQ(guestOf("800x600"), (Size{800, 600}));
  EXPECT_EQ(guestOf("1e3x+2.5e2"), (Size{1000, 250}));
  EXPECT_EQ(guestOf("-100x200"), (Size{-100, 200}));
  EXPECT_EQ(guestOf(".5x5."), (Size{0.5, 5}));
  EXPECT_EQ(guestOf("infxINFINITY"), (Size{infinity, infinity}));
}

TEST(WindowSizeRequest, PassesOverEmptyAndForeignPiecesOfTheGuest) {
  EXPECT_EQ(guestOf("1920x1200xfoo"), (Size{1920, 1200}));
  EXPECT_EQ(guestOf("foox1920x 5x1200"), (Size{1920, 1200}));
  EXPECT_EQ(guestOf("xx1920xxx1200x"), (Size{1920, 1200}));
  EXPECT_EQ(guestOf("1920x1200px"), std::nullopt);
}

TEST(WindowSizeRequest, CutsAHexadecimalGuestAtItsX) {
  EXPECT_EQ(guestOf("0x10"), (Size{0, 10}));
  EXPECT_EQ(guestOf("0x10x20"), std::nullopt);
  EXPECT_EQ(guestOf("0X10x0X1p4"), (Size{16, 16}));
}

TEST(WindowSizeRequest, RefusesAGuestThatIsNotTwoNumbers) {
  for (const char* guest :
       {"", "x", "1920", "1920x", "1920X1200", "1920 x 1200", "1920x 1200", "1920x1200 ",
        "1920x1200x3", "1920,1200", "axb", "1920x1200\n", "1920x1200\r\n", "1920\u00D71200"}) {
    EXPECT_EQ(guestOf(guest), std::nullopt) << guest;
  }
}

TEST(WindowSizeRequest, ReadsAVisibleFrameOfFourNumbers) {
  EXPECT_EQ(visibleOf("1,2,3,4"), (Rect{1, 2, 3, 4}));
  EXPECT_EQ(visibleOf("-1.5,+2,3e2,0x1F"), (Rect{-1.5, 2, 300, 31}));
}

TEST(WindowSizeRequest, TrimsBlanksAroundTheNumbersOfTheVisibleFrame) {
  EXPECT_EQ(visibleOf("0, 0, 1440, 875"), (Rect{0, 0, 1440, 875}));
  EXPECT_EQ(visibleOf(" \t 1 \t,\t2, 3 ,4\t\t"), (Rect{1, 2, 3, 4}));
}

TEST(WindowSizeRequest, TrimsEveryUnicodeBlank) {
  for (const std::string blank :
       {"\t", " ", "\u00A0", "\u1680", "\u2000", "\u2001", "\u2002", "\u2003", "\u2004", "\u2005",
        "\u2006", "\u2007", "\u2008", "\u2009", "\u200A", "\u202F", "\u205F", "\u3000"}) {
    const std::string mixed = blank + " " + blank;
    EXPECT_EQ(visibleOf("1," + mixed + "2," + mixed + "3" + mixed + ",4" + blank),
              (Rect{1, 2, 3, 4}))
        << testing::PrintToString(blank);
  }
}

TEST(WindowSizeRequest, TrimsNothingElse) {
  // Line breaks of every kind, a zero-width space, the Mongolian vowel separator and a byte-order
  // mark: none of them is a blank within a line.
  for (const std::string other : {"\n", "\r", "\r\n", "\v", "\f", "\u0085", "\u2028", "\u2029",
                                  "\u200B", "\u180E", "\uFEFF", "\"", "'", "\xA0", "\xC2"}) {
    EXPECT_EQ(visibleOf("1,2,3," + other + "4"), std::nullopt) << testing::PrintToString(other);
    EXPECT_EQ(visibleOf("1,2,3,4" + other), std::nullopt) << testing::PrintToString(other);
  }
}

TEST(WindowSizeRequest, PassesOverEmptyAndForeignPiecesOfTheVisibleFrame) {
  EXPECT_EQ(visibleOf(",,1,,, ,2,3,,4,,"), (Rect{1, 2, 3, 4}));
  EXPECT_EQ(visibleOf("1,2,one,3,4,5px"), (Rect{1, 2, 3, 4}));
  EXPECT_EQ(visibleOf(std::string(20000, ',') + "1,2,3,4" + std::string(20000, ',')),
            (Rect{1, 2, 3, 4}));
}

TEST(WindowSizeRequest, RefusesAVisibleFrameThatIsNotFourNumbers) {
  for (const char* visible : {"", ",,,", "1", "0,0,1440", "0,0,1440,", "1,2,3,4,5", "1;2;3;4",
                              "1,2,3,4 5", "1 2 3 4", "1,2,3,0x", "1,2,3,--4"}) {
    EXPECT_EQ(visibleOf(visible), std::nullopt) << visible;
  }
  EXPECT_EQ(visibleOf(std::nullopt), std::nullopt);
}

TEST(WindowSizeRequest, KeepsANulFromEndingANumberEarly) {
  using namespace std::string_literals;
  EXPECT_EQ(visibleOf("1,2,3,4\0"s), std::nullopt);
  EXPECT_EQ(visibleOf("1,2,3,4\0,4"s), (Rect{1, 2, 3, 4}));
}

TEST(WindowSizeRequest, NeedsAScaleAboveZero) {
  EXPECT_EQ(scaleOf("0.5"), 0.5);
  EXPECT_EQ(scaleOf("0x1p1"), 2);
  EXPECT_EQ(scaleOf("inf"), infinity);
  EXPECT_EQ(scaleOf("5e-324"), 5e-324);
  for (const char* scale : {"", "0", "-0", "-1", "-inf", "nan", "-nan", "two", " 1", "1 ", "\t1",
                            "1x", "1,5", "1e", "1e-400"}) {
    EXPECT_EQ(scaleOf(scale), std::nullopt) << scale;
  }
}

TEST(WindowSizeRequest, TakesAnyNumberForTheChrome) {
  EXPECT_EQ(chromeOf("28"), 28);
  EXPECT_EQ(chromeOf("-10"), -10);
  EXPECT_EQ(chromeOf("+.5E1"), 5);
  EXPECT_EQ(chromeOf("-infinity"), -infinity);
  EXPECT_EQ(chromeOf("1e999"), infinity);
  const auto chrome = chromeOf("nan");
  ASSERT_TRUE(chrome);
  EXPECT_NE(*chrome, *chrome);
  for (const char* other : {"", " 28", "28 ", "\n28", "28pt", "0x", "+", ".", "e5", "infin"}) {
    EXPECT_EQ(chromeOf(other), std::nullopt) << other;
  }
}

}  // namespace
}  // namespace parlen
