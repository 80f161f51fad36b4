#include "window/window_size_check.h"

#include <gtest/gtest.h>

#include "events/event_stream.h"
#include "support/test_system.h"

namespace parlen {
namespace {

using Text = std::optional<std::string>;

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

TEST_F(WindowSizeCheck, AcceptsBlanksInTheVisibleFrame) {
  EXPECT_EQ(run({.visible = "0, 0,\t1440,\u00A0875"}), run({}));
}

TEST_F(WindowSizeCheck, PassesOverWhatIsNoNumberInAList) {
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

TEST_F(WindowSizeCheck, TrapsWithoutALineWhenThePlaceIsNoPlace) {
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

TEST_F(WindowSizeCheck, WritesWhatJustFits64Bits) {
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
