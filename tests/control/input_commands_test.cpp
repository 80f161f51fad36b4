#include "control/commands.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "support/event_lines.h"
#include "support/tool.h"

namespace parlen::test {
namespace {

using Lines = std::vector<std::string>;

std::string inputFailed(const std::string& message) { return error("input-failed", message); }

const std::string badDelay = inputFailed("delayMs must be an integer in [20, 1000]");

/// A run with a window, to which commands are sent once the guest runs.
class InputCommands : public testing::Test {
 protected:
  /// The events that the chunk caused.
  Lines eventsFor(const std::string& chunk) {
    tool_.sendAt(10, chunk);
    EXPECT_EQ(tool_.run({"run", "--bundle", tool_.makeBundle("vm1"), "--gui"}), stillRunning());
    const Lines events = tool_.events();
    return {events.begin() + 3, events.end()};
  }

  /// Those of a text command with this "delayMs".
  Lines eventsForDelay(const std::string& delay) {
    return eventsFor(R"({"type":"text","text":"a","delayMs":)" + delay + "}\n");
  }

  /// How often an event was sent to the window.
  std::size_t sent() {
    const Lines calls = tool_.calls();
    return static_cast<std::size_t>(
        std::count(calls.begin(), calls.end(), "application.sendEvent"));
  }

  /// From the command on, in milliseconds.
  std::int64_t duration(std::chrono::nanoseconds start) {
    const auto passed = tool_.system().loop().now() - start;
    return std::chrono::duration_cast<std::chrono::milliseconds>(passed).count() - 10;
  }

  Tool tool_;
};

TEST_F(InputCommands, TypeATextAndSayWhenItIsDone) {
  EXPECT_EQ(eventsFor("{\"type\":\"text\",\"text\":\"Hi!\\n\"}\n"), Lines{textDone});
  EXPECT_EQ(sent(), 4U + 2U + 4U + 2U);
}

TEST_F(InputCommands, PressAChordAndSayWhenItIsDone) {
  EXPECT_EQ(eventsFor("{\"type\":\"key\",\"key\":\"cmd+shift+t\"}\n"), Lines{keyDone});
  EXPECT_EQ(sent(), 2U + 2U + 2U);
}

TEST_F(InputCommands, TypeATextExactlyAsReceived) {
  EXPECT_EQ(eventsFor("{\"type\":\"text\",\"text\":\" a \"}\n"), Lines{textDone});
  EXPECT_EQ(sent(), 3U * 2U);
}

TEST_F(InputCommands, AreDoneInTheirOrder) {
  EXPECT_EQ(eventsFor("{\"type\":\"key\",\"key\":\"a\"}\n{\"type\":\"text\",\"text\":\"b\"}\n"
                      "{\"type\":\"key\",\"key\":\"c\"}\n"),
            (Lines{keyDone, textDone, keyDone}));
}

TEST_F(InputCommands, LeaveTheDefaultGapUnlessToldOtherwise) {
  const auto start = tool_.system().loop().now();
  eventsFor("{\"type\":\"text\",\"text\":\"ab\"}\n");
  EXPECT_EQ(duration(start), 2 * (40 + 60));
}

TEST_F(InputCommands, LeaveTheGapThatIsAskedFor) {
  const auto start = tool_.system().loop().now();
  eventsFor("{\"type\":\"text\",\"text\":\"abcdefghij\",\"delayMs\":1000}\n");
  EXPECT_EQ(duration(start), 10 * 1040);
}

TEST_F(InputCommands, TakeAnyWholeNumberFrom20To1000ForADelay) {
  const Lines delays = {"20", "1000", "100.0", "1e2", "20.0e0", "0.1e3"};
  std::string chunk;
  for (const std::string& delay : delays) {
    chunk += R"({"type":"text","text":"a","delayMs":)" + delay + "}\n";
  }
  EXPECT_EQ(eventsFor(chunk), Lines(delays.size(), textDone));
}

TEST_F(InputCommands, RefuseAnyOtherDelay) {
  const Lines delays = {"19",
                        "1001",
                        "50.5",
                        "\"100\"",
                        "true",
                        "false",
                        "null",
                        "[]",
                        "{}",
                        "-20",
                        "0",
                        "1e300",
                        "19.99",
                        "1000.5",
                        "18446744073709551615",
                        "9223372036854775808"};
  std::string chunk;
  for (const std::string& delay : delays) {
    chunk += R"({"type":"key","key":"a","delayMs":)" + delay + "}\n";
  }
  EXPECT_EQ(eventsFor(chunk), Lines(delays.size(), badDelay));
  EXPECT_EQ(sent(), 0U);
}

TEST_F(InputCommands, NameTheMissingTextFirst) {
  EXPECT_EQ(eventsFor("{\"type\":\"text\",\"delayMs\":1}\n{\"type\":\"key\",\"delayMs\":1}\n"),
            (Lines{inputFailed("the text verb needs a non-empty \"text\" string"),
                   inputFailed("the key verb needs a non-empty \"key\" chord")}));
}

TEST_F(InputCommands, NameTheDelayBeforeTheRefusal) {
  EXPECT_EQ(eventsFor("{\"type\":\"text\",\"text\":\"é\",\"delayMs\":1}\n"
                      "{\"type\":\"key\",\"key\":\"cmd+q\",\"delayMs\":5}\n"
                      "{\"type\":\"key\",\"key\":\"hyper+q\",\"delayMs\":\"5\"}\n"),
            (Lines{badDelay, badDelay, badDelay}));
}

TEST_F(InputCommands, ReportWhyNothingCanBeTypedAndTypeNothing) {
  EXPECT_EQ(eventsFor("{\"type\":\"text\",\"text\":\"abc\\u00e9\"}\n"
                      "{\"type\":\"key\",\"key\":\"alt+a\"}\n"
                      "{\"type\":\"text\",\"text\":\"x\\r\\n\"}\n"),
            (Lines{inputFailed("not typeable on the US layout: 'é'"),
                   inputFailed("'alt' is not a modifier (cmd, shift, option, ctrl come first)"),
                   inputFailed("not typeable on the US layout: '\r\n'")}));
  EXPECT_EQ(sent(), 0U);
}

TEST_F(InputCommands, GoOnAfterARefusal) {
  EXPECT_EQ(eventsFor("{\"type\":\"key\",\"key\":\"ab\"}\n{\"type\":\"key\",\"key\":\"a\"}\n"),
            (Lines{inputFailed("unknown key 'ab'"), keyDone}));
}

TEST_F(InputCommands, AreTypedWhileTheGuestIsPaused) {
  EXPECT_EQ(eventsFor("{\"type\":\"pause\"}\n{\"type\":\"key\",\"key\":\"a\"}\n"),
            (Lines{R"({"type":"guest-power","state":"paused"})", keyDone}));
}

TEST(InputAndStop, InOneChunkStopBeforeTheFirstKeyGoesDown) {
  Tool tool;
  tool.sendAt(10, "{\"type\":\"text\",\"text\":\"A\"}\n{\"type\":\"stop\"}\n");
  EXPECT_EQ(tool.run({"run", "--bundle", tool.makeBundle("vm1"), "--gui"}), endedWith(0));
  const Lines calls = tool.calls();
  const auto firstEvent = std::find(calls.begin(), calls.end(), "application.sendEvent");
  EXPECT_EQ(Lines(firstEvent, calls.end()),
            (Lines{"application.sendEvent", "machine.requestStop"}));
}

TEST(InputAndStop, TypesOnWhileTheGuestShutsDown) {
  Tool tool(R"({"machine":{"shutdownMs":1000}})");
  tool.sendAt(10, "{\"type\":\"text\",\"text\":\"ab\"}\n{\"type\":\"stop\"}\n");
  EXPECT_EQ(tool.run({"run", "--bundle", tool.makeBundle("vm1"), "--gui"}), endedWith(0));
  EXPECT_EQ(tool.events().at(3), textDone);
}

}  // namespace
}  // namespace parlen::test
