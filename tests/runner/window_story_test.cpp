#include <gtest/gtest.h>

#include "support/event_lines.h"
#include "support/tool.h"

namespace parlen::test {
namespace {

using Lines = std::vector<std::string>;

std::string stoppedAfter(int seconds) {
  return stopped("guest stopped after host stop request after " + std::to_string(seconds) +
                 "s (was running)");
}

/// Whole sessions, down to every byte that comes out and every call that the host sees when. The
/// traces are in stories/, with <dir> in place of the bundle's folder.
class WindowStory : public testing::Test {
 protected:
  void givenAWorld(const std::string& scenario) { tool_.emplace(scenario); }

  void run(const Lines& options) {
    Lines arguments{"run", "--bundle", tool_->makeBundle("vm1")};
    arguments.insert(arguments.end(), options.begin(), options.end());
    EXPECT_EQ(tool_->run(arguments), endedWith(0));
  }

  void expectTrace(const std::string& story) {
    const auto expected = tool_->system().files().read(std::string(PARLEN_STORIES) + "/" + story);
    ASSERT_TRUE(expected) << expected.error().description;
    EXPECT_EQ(trace(), *expected);
  }

  std::string trace() {
    std::string text = tool_->read("trace.jsonl");
    const std::string folder = escaped(tool_->path("vm1"));
    for (std::size_t at; (at = text.find(folder)) != std::string::npos;) {
      text.replace(at, folder.size(), "<dir>");
    }
    return text;
  }

  static std::string escaped(const std::string& path) {
    std::string text;
    for (const char c : path) text += c == '/' ? std::string("\\/") : std::string(1, c);
    return text;
  }

  std::optional<Tool> tool_;
};

TEST_F(WindowStory, OfAGuestThatIsShownAndHiddenOnRequest) {
  givenAWorld(R"({"machine":{"shutdownMs":200},
                  "script":[{"atMs":300,"event":"clicks-later"},{"atMs":400,"event":"clicks-done"},
                            {"atMs":550,"event":"clicks-done"},
                            {"atMs":800,"event":"closes-window"}]})");
  tool_->sendAt(100, R"({"type":"window","show":true,"title":"Installing","detail":"step 2 of 3"})"
                     "\n");
  tool_->sendAt(200,
                "{\"type\":\"window\",\"show\":true,\"title\":\"Sign in\"}\n"
                "{\"type\":\"text\",\"text\":\"a\"}\n");
  tool_->sendAt(500, "{\"type\":\"window\",\"show\":false}\n");
  tool_->sendAt(600, "{\"type\":\"window\",\"show\":true,\"title\":\"Sign in\"}\n");
  tool_->sendAt(1000, "{\"type\":\"stop\"}\n");
  run({});
  expectTrace("shown_on_request.jsonl");
  EXPECT_EQ(tool_->events(),
            (Lines{ready, starting, running,
                   error("input-failed",
                         "input verbs need --gui — a headless run has no VZVirtualMachineView to "
                         "type into"),
                   later, done, later, stoppedAfter(1)}));
  EXPECT_EQ(tool_->warnings(), "");
}

TEST_F(WindowStory, OfAGuestThatIsShownAtOnceAndTypedInto) {
  givenAWorld(R"({"machine":{"shutdownMs":200},
                  "window":{"views":{"name":"guest","acceptsFirstResponder":false,
                    "subviews":[{"name":"frame","acceptsFirstResponder":false},
                                {"name":"display"}]}},
                  "script":[{"atMs":1000,"event":"closes-window"}]})");
  tool_->sendAt(100,
                "{\"type\":\"text\",\"text\":\"Hi\\n\",\"delayMs\":100}\n"
                "{\"type\":\"key\",\"key\":\"cmd+shift+t\"}\n");
  tool_->sendAt(900, "{\"type\":\"window\",\"show\":true}\n{\"type\":\"window\",\"show\":false}\n");
  tool_->sendAt(1100, "{\"type\":\"key\",\"key\":\"return\",\"delayMs\":20}\n");
  tool_->sendAt(2000, "{\"type\":\"stop\"}\n");
  run({"--gui"});
  expectTrace("typed_into.jsonl");
  EXPECT_EQ(tool_->events(),
            (Lines{ready, starting, running, textDone, keyDone, keyDone, stoppedAfter(2)}));
  EXPECT_EQ(tool_->warnings(),
            "parlen-mac-vm: input: firstResponder=display\n"
            "parlen-mac-vm: input: firstResponder=display\n"
            "parlen-mac-vm: ignoring window: this run has no headless guest to show\n"
            "parlen-mac-vm: input: firstResponder=display\n");
}

}  // namespace
}  // namespace parlen::test
