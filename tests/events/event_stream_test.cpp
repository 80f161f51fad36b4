#include "events/event_stream.h"

#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <vector>

#include "platform/platform.h"
#include "support/test_system.h"

namespace parlen {
namespace {

class EventStream : public testing::Test {
 protected:
  EventStream() {
    platform::usePlatform(&system_, nullptr);
    outputQueue = system_.makeSerialQueue("test.vm.stdout");
  }
  ~EventStream() override {
    outputQueue.reset();
    platform::usePlatform(nullptr, nullptr);
  }

  std::string written() { return std::exchange(system_.streams().output, {}); }

  test::TestSystem system_;
};

TEST_F(EventStream, EscapesOnlyWhatJsonRequiresAndEverySlash) {
  EXPECT_EQ(jsonEscape(""), R"("")");
  EXPECT_EQ(jsonEscape("plain"), R"("plain")");
  EXPECT_EQ(jsonEscape("a\"b\\c/d"), R"("a\"b\\c\/d")");
  EXPECT_EQ(jsonEscape("\n\r\t\b\f"), R"("\n\r\t\b\f")");
  EXPECT_EQ(jsonEscape("\x7f — é 🎹"), "\"\x7f — é 🎹\"");
  EXPECT_EQ(jsonEscape(std::string_view("\0", 1)), R"("\u0000")");
}

TEST_F(EventStream, EscapesEveryOtherControlCharacterByItsNumber) {
  for (int code = 1; code < 0x20; ++code) {
    if (std::string_view("\n\r\t\b\f").contains(static_cast<char>(code))) continue;
    const std::string literal = jsonEscape(std::string(1, static_cast<char>(code)));
    ASSERT_EQ(literal.size(), 8U) << code;
    EXPECT_TRUE(literal.starts_with("\"\\u00")) << literal;
    EXPECT_EQ(std::stoi(literal.substr(3, 4), nullptr, 16), code);
  }
}

TEST_F(EventStream, WritesTheEmptyLiteralForATextThatIsNotUtf8) {
  EXPECT_EQ(jsonEscape("\xff"), R"("")");
  EXPECT_EQ(jsonEscape("cut \xe2\x80"), R"("")");
}

TEST_F(EventStream, ReplacesWhatIsNotUtf8InATextFromOutside) {
  EXPECT_EQ(jsonEscapeRepaired("/caf\xe9/é"), "\"\\/caf\uFFFD\\/é\"");
  emitError("bundle-missing", "no VM bundle at \xff");
  EXPECT_EQ(written(),
            "{\"type\":\"error\",\"code\":\"bundle-missing\","
            "\"message\":\"no VM bundle at \uFFFD\"}\n");
  emitStopped(true, "torn \xe2\x80");
  EXPECT_EQ(written(),
            "{\"type\":\"state\",\"state\":\"stopped\",\"crashed\":true,"
            "\"reason\":\"torn \uFFFD\"}\n");
}

TEST_F(EventStream, PastesStatesAndCodesAsTheyAre) {
  emitState("a\"b");
  EXPECT_EQ(written(), "{\"type\":\"state\",\"state\":\"a\"b\"}\n");
}

TEST_F(EventStream, WritesEachLineInOnePiece) {
  emit("{}");
  EXPECT_EQ(system_.streams().outputWrites, 1);
  EXPECT_EQ(written(), "{}\n");
}

/// Knows whether work of its own is running.
class WatchedQueue : public platform::SerialQueue {
 public:
  explicit WatchedQueue(bool& isBusy) : isBusy_(isBusy) {}
  void sync(const platform::Work& work) override {
    isBusy_ = true;
    work();
    isBusy_ = false;
  }

 private:
  bool& isBusy_;
};

TEST_F(EventStream, WritesEveryLineOnItsQueue) {
  bool isBusy = false;
  int lines = 0;
  outputQueue = std::make_unique<WatchedQueue>(isBusy);
  system_.streams().recorder = [&](std::string_view line) {
    EXPECT_TRUE(isBusy) << line;
    ++lines;
  };
  emit("{}");
  emitError("vm-limit", "");
  emitStopped(false, "");
  emit(statusLine({}).value());
  EXPECT_EQ(lines, 4);
}

TEST_F(EventStream, SaysWhetherALineWasWritten) {
  EXPECT_TRUE(emit("{}"));
  EXPECT_TRUE(emitCreated("/b"));
  system_.streams().outputFails = true;
  EXPECT_FALSE(emit("{}"));
  EXPECT_FALSE(emitCreated("/b"));
  EXPECT_FALSE(emitCloned("/a", "/b", {}, MachineIdChoice::keep));
  EXPECT_FALSE(emitWindowSize({}, {}));
}

TEST_F(EventStream, WritesTheFixedLinesToTheByte) {
  emitReady();
  EXPECT_EQ(written(), "{\"type\":\"ready\",\"proto\":1}\n");
  emitState("starting");
  EXPECT_EQ(written(), "{\"type\":\"state\",\"state\":\"starting\"}\n");
  emitState("running");
  EXPECT_EQ(written(), "{\"type\":\"state\",\"state\":\"running\"}\n");
  emitGuestPower("paused");
  EXPECT_EQ(written(), "{\"type\":\"guest-power\",\"state\":\"paused\"}\n");
  emitGuestPower("resumed");
  EXPECT_EQ(written(), "{\"type\":\"guest-power\",\"state\":\"resumed\"}\n");
}

TEST_F(EventStream, WritesACrashAsABooleanAndEscapesTheReason) {
  emitStopped(false, "host requested stop");
  EXPECT_EQ(written(),
            "{\"type\":\"state\",\"state\":\"stopped\",\"crashed\":false,"
            "\"reason\":\"host requested stop\"}\n");
  emitStopped(true, "a \"b\" \\ /c\né");
  EXPECT_EQ(written(),
            "{\"type\":\"state\",\"state\":\"stopped\",\"crashed\":true,"
            "\"reason\":\"a \\\"b\\\" \\\\ \\/c\\né\"}\n");
}

TEST_F(EventStream, WritesAnErrorWithItsCodeAndAnEscapedMessage) {
  emitError("bundle-missing", "no VM bundle at /a/b");
  EXPECT_EQ(written(),
            "{\"type\":\"error\",\"code\":\"bundle-missing\","
            "\"message\":\"no VM bundle at \\/a\\/b\"}\n");
  emitError("vm-limit", "");
  EXPECT_EQ(written(), "{\"type\":\"error\",\"code\":\"vm-limit\",\"message\":\"\"}\n");
}

TEST_F(EventStream, WritesAFractionWithFourDecimalsAndDoesNotClampIt) {
  const std::vector<std::pair<double, std::string>> fractions = {
      {0, "0.0000"},       {0.25, "0.2500"},
      {0.5, "0.5000"},     {1, "1.0000"},
      {-0.5, "-0.5000"},   {12.34567, "12.3457"},
      {0.00004, "0.0000"}, {1e15, "1000000000000000.0000"}};
  for (const auto& [fraction, text] : fractions) {
    emitProgress(fraction);
    EXPECT_EQ(written(), "{\"type\":\"progress\",\"fraction\":" + text + "}\n");
  }
}

TEST_F(EventStream, WritesTheLargestFractionWhole) {
  emitProgress(-1.7976931348623157e308);
  EXPECT_EQ(written().size(),
            std::string(R"({"type":"progress","fraction":-.0000})").size() + 309 + 1);
}

TEST_F(EventStream, KeepsLinesOfSeveralThreadsWhole) {
  constexpr int linesEach = 200;
  std::vector<std::thread> writers;
  for (int writer = 0; writer < 4; ++writer) {
    writers.emplace_back([writer] {
      for (int i = 0; i < linesEach; ++i) emit(std::string(10, static_cast<char>('a' + writer)));
    });
  }
  for (std::thread& writer : writers) writer.join();
  const auto lines = system_.streams().lines();
  EXPECT_EQ(lines.size(), 4U * linesEach);
  for (const std::string& line : lines) EXPECT_EQ(line, std::string(10, line[0]));
}

TEST_F(EventStream, WarnsOnStandardErrorWithTheToolsName) {
  warn("something / \"odd\"");
  EXPECT_EQ(system_.streams().error, "parlen-mac-vm: something / \"odd\"\n");
  EXPECT_EQ(written(), "");
}

TEST_F(EventStream, DiesWithAnErrorAndStatus1) {
  try {
    die("clone-failed", "why");
  } catch (const test::ProcessEnded& end) {
    EXPECT_EQ(end.status, 1);
  }
  EXPECT_EQ(written(), "{\"type\":\"error\",\"code\":\"clone-failed\",\"message\":\"why\"}\n");
}

}  // namespace
}  // namespace parlen
