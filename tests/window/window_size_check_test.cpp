#include "window/window_size_check.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "events/event_stream.h"
#include "support/test_system.h"

namespace parlen {
namespace {

using platform::Rect;
using platform::Size;
using Text = std::optional<std::string>;

// --- The request

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

TEST(WindowSizeRequest, UsesTheGuestsDisplayByDefault) {
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

TEST(WindowSizeRequest, SkipsPiecesOfTheGuestThatAreNoNumber) {
  EXPECT_EQ(guestOf("1920x1200xfoo"), (Size{1920, 1200}));
  EXPECT_EQ(guestOf("foox1920x 5x1200"), (Size{1920, 1200}));
  EXPECT_EQ(guestOf("xx1920xxx1200x"), (Size{1920, 1200}));
  EXPECT_EQ(guestOf("1920x1200px"), std::nullopt);
}

TEST(WindowSizeRequest, SplitsAHexadecimalGuestAtItsX) {
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

TEST(WindowSizeRequest, TrimsSpacesAroundTheNumbersOfTheVisibleFrame) {
  EXPECT_EQ(visibleOf("0, 0, 1440, 875"), (Rect{0, 0, 1440, 875}));
  EXPECT_EQ(visibleOf(" \t 1 \t,\t2, 3 ,4\t\t"), (Rect{1, 2, 3, 4}));
}

TEST(WindowSizeRequest, TrimsEveryUnicodeSpace) {
  for (const std::string space :
       {"\t", " ", "\u00A0", "\u1680", "\u2000", "\u2001", "\u2002", "\u2003", "\u2004", "\u2005",
        "\u2006", "\u2007", "\u2008", "\u2009", "\u200A", "\u202F", "\u205F", "\u3000"}) {
    const std::string mixed = space + " " + space;
    EXPECT_EQ(visibleOf("1," + mixed + "2," + mixed + "3" + mixed + ",4" + space),
              (Rect{1, 2, 3, 4}))
        << testing::PrintToString(space);
  }
}

TEST(WindowSizeRequest, TrimsNothingElse) {
  // Line breaks of every kind, a zero-width space, the Mongolian vowel separator and a byte-order
  // mark: none of them is a space within a line.
  for (const std::string other : {"\n", "\r", "\r\n", "\v", "\f", "\u0085", "\u2028", "\u2029",
                                  "\u200B", "\u180E", "\uFEFF", "\"", "'", "\xA0", "\xC2"}) {
    EXPECT_EQ(visibleOf("1,2,3," + other + "4"), std::nullopt) << testing::PrintToString(other);
    EXPECT_EQ(visibleOf("1,2,3,4" + other), std::nullopt) << testing::PrintToString(other);
  }
}

TEST(WindowSizeRequest, SkipsPiecesOfTheVisibleFrameThatAreNoNumber) {
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

TEST(WindowSizeRequest, DoesNotEndANumberAtANul) {
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

// --- The answer

struct Options {
  Text guest = {};
  Text scale = {};
  Text visible = "0,0,1440,875";
  Text chrome = {};
};

/// How the process ended, and what it had written by then.
struct Ending {
  std::optional<int> status;  // none: it trapped
  std::string output;

  friend bool operator==(const Ending&, const Ending&) = default;
};

void PrintTo(const Ending& ending, std::ostream* out) {
  *out << (ending.status ? "status " + std::to_string(*ending.status) : "a trap") << " after "
       << ending.output;
}

class WindowSizeCheck : public testing::Test {
 protected:
  WindowSizeCheck() {
    platform::usePlatform(&system_, nullptr);
    outputQueue = system_.makeSerialQueue("test");
  }

  ~WindowSizeCheck() override {
    outputQueue.reset();
    platform::usePlatform(nullptr, nullptr);
  }

  Ending run(const Options& options) {
    system_.streams().output.clear();
    std::optional<int> status;
    try {
      windowSizeCheck(options.guest, options.scale, options.visible, options.chrome);
    } catch (const test::ProcessEnded& end) {
      status = end.status;
    } catch (const test::ProcessTrapped&) {
    }
    EXPECT_EQ(system_.streams().error, "");
    return {status, system_.streams().output};
  }

  test::TestSystem system_;
};

Ending placed(const std::string& content, const std::string& frame) {
  return {0, R"({"type":"window-size","content":{)" + content + R"(},"frame":{)" + frame + "}}\n"};
}

const Ending usageError{
    1, R"({"type":"error","code":"bad-usage","message":"window-size-check --visible x,y,w,h )"
       R"([--guest WxH] [--scale n] [--chrome pt]"})"
       "\n"};
const Ending trapped{std::nullopt, ""};

TEST_F(WindowSizeCheck, WritesThePlaceAsOneLine) {
  EXPECT_EQ(run({.chrome = "28"}),
            (Ending{0,
                    "{\"type\":\"window-size\",\"content\":{\"x\":74,\"y\":20,\"width\":1291,"
                    "\"height\":806},\"frame\":{\"x\":74,\"y\":20,\"width\":1291,"
                    "\"height\":834}}\n"}));
  EXPECT_EQ(system_.streams().outputWrites, 1);
}

TEST_F(WindowSizeCheck, NeedsNoOutputQueue) {
  outputQueue.reset();
  EXPECT_EQ(run({}).status, 0);
}

TEST_F(WindowSizeCheck, DoesNotEnlargeTheGuest) {
  EXPECT_EQ(run({.visible = "0,0,2560,1415", .chrome = "28"}),
            placed(R"("x":320,"y":93,"width":1920,"height":1200)",
                   R"("x":320,"y":93,"width":1920,"height":1228)"));
}

TEST_F(WindowSizeCheck, DividesTheGuestByItsScale) {
  EXPECT_EQ(run({.guest = "3840x2400", .scale = "2", .chrome = "28"}), run({.chrome = "28"}));
}

TEST_F(WindowSizeCheck, WritesNegativeCoordinates) {
  EXPECT_EQ(run({.visible = "-1920,0,1920,1055", .chrome = "28"}),
            placed(R"("x":-1750,"y":20,"width":1579,"height":986)",
                   R"("x":-1750,"y":20,"width":1579,"height":1014)"));
}

TEST_F(WindowSizeCheck, CutsTheFractionOfTheFramesHeight) {
  EXPECT_EQ(run({.chrome = "28.5"}), placed(R"("x":75,"y":20,"width":1290,"height":806)",
                                            R"("x":75,"y":20,"width":1290,"height":834)"));
}

TEST_F(WindowSizeCheck, CutsTowardsZero) {
  // A frame 0.5 points below nothing: rounded down it would be -1.
  EXPECT_EQ(run({.guest = "100x100", .visible = "0,0,500,500", .chrome = "-100.5"}),
            placed(R"("x":200,"y":250,"width":100,"height":100)",
                   R"("x":200,"y":250,"width":100,"height":0)"));
}

TEST_F(WindowSizeCheck, PlacesATinyWindowOnATinyScreen) {
  EXPECT_EQ(run({.visible = "0,0,10,10", .chrome = "0"}),
            placed(R"("x":4,"y":5,"width":1,"height":0)", R"("x":4,"y":5,"width":1,"height":0)"));
}

TEST_F(WindowSizeCheck, AcceptsANegativeChrome) {
  EXPECT_EQ(run({.visible = "0,0,2560,1415", .chrome = "-10"}),
            placed(R"("x":320,"y":112,"width":1920,"height":1200)",
                   R"("x":320,"y":112,"width":1920,"height":1190)"));
}

TEST_F(WindowSizeCheck, AcceptsSpacesInTheVisibleFrame) {
  EXPECT_EQ(run({.visible = "0, 0,\t1440,\u00A0875"}), run({}));
}

TEST_F(WindowSizeCheck, SkipsPiecesOfAListThatAreNoNumber) {
  EXPECT_EQ(run({.guest = "1920x1200xfoo"}), run({}));
}

TEST_F(WindowSizeCheck, PlacesANegativeGuestByTheSameArithmetic) {
  EXPECT_EQ(run({.guest = "-100x200", .visible = "0,0,1440,1040"}),
            placed(R"("x":20,"y":1920,"width":1400,"height":-2800)",
                   R"("x":20,"y":1920,"width":1400,"height":-2800)"));
}

TEST_F(WindowSizeCheck, ReportsBadUsageForUnusableOptions) {
  const Options unusable[] = {
      {.visible = {}},          {.visible = ""},
      {.visible = "0,0,1440"},  {.guest = "1920 x 1200"},
      {.guest = "1920X1200"},   {.guest = ""},
      {.scale = "0"},           {.scale = "-1"},
      {.scale = "nan"},         {.scale = ""},
      {.chrome = ""},           {.chrome = "28pt"},
      {.visible = "1,2,3,4,5"}, {.visible = "0,0,1440,875\r\n"},
  };
  for (const Options& options : unusable) EXPECT_EQ(run(options), usageError);
}

TEST_F(WindowSizeCheck, ReportsBadUsageRatherThanTrapping) {
  EXPECT_EQ(run({.guest = "0x1200", .scale = "0"}), usageError);
}

TEST_F(WindowSizeCheck, TrapsWithoutALineForACoordinateThatIsNoNumber) {
  const Options senseless[] = {
      {.guest = "0x1200"},
      {.guest = "nanx1200"},
      {.guest = "infx1200"},
      {.guest = "1920xinf"},
      {.scale = "inf"},
      {.visible = "inf,0,1440,875"},
      {.visible = "0,nan,1440,875"},
      {.visible = "0,0,inf,875"},
      {.visible = "0,0,1440,nan"},
      {.chrome = "inf"},
      {.chrome = "nan"},
      {.chrome = "1e999"},
  };
  for (const Options& options : senseless) EXPECT_EQ(run(options), trapped);
}

TEST_F(WindowSizeCheck, WritesTheLargestCoordinatesOf64Bits) {
  // The largest double below 2^63, and -2^63 itself.
  EXPECT_EQ(run({.guest = "8x8", .visible = "9223372036854774784,-9223372036854775808,8,8"}),
            placed(R"("x":9223372036854774784,"y":-9223372036854775808,"width":1,"height":1)",
                   R"("x":9223372036854774784,"y":-9223372036854775808,"width":1,"height":1)"));
}

TEST_F(WindowSizeCheck, TrapsWhenACoordinateExceeds64Bits) {
  EXPECT_EQ(run({.visible = "9223372036854775808,0,1440,875"}), trapped);
  EXPECT_EQ(run({.visible = "0,-9223372036854777856,1440,875"}), trapped);
  EXPECT_EQ(run({.visible = "1e300,0,1440,875"}), trapped);
  // Only the last number of the line, the frame's height, is out of range.
  EXPECT_EQ(run({.guest = "8x8", .visible = "0,0,1e19,1e19", .chrome = "1e19"}), trapped);
}

}  // namespace
}  // namespace parlen
