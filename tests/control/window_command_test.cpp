#include "control/commands.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "support/tool.h"

namespace parlen::test {
namespace {

using Lines = std::vector<std::string>;

const std::string prohibited =
    R"({"call":"application.setActivationPolicy","policy":"prohibited"})";

std::string label(const std::string& name, const std::string& text) {
  return R"({"call":"label.setText","label":")" + name + R"(","text":")" + text + "\"}";
}

/// A headless run to which commands are sent once the guest runs.
class WindowCommand : public testing::Test {
 protected:
  /// The calls that the chunk caused.
  Lines traceFor(const std::string& chunk) {
    tool_.sendAt(10, chunk);
    EXPECT_EQ(tool_.run({"run", "--bundle", tool_.makeBundle("vm1")}), stillRunning());
    const Lines calls = tool_.trace();
    return {std::ranges::find(calls, R"({"call":"application.run"})") + 1, calls.end()};
  }

  Tool tool_;
};

TEST_F(WindowCommand, ShowsTheGuestUnderTheTexts) {
  const Lines calls = traceFor(
      "{\"type\":\"window\",\"show\":true,\"title\":\"Installing\",\"detail\":\"step 2 of 3\"}\n");
  EXPECT_EQ(Lines(calls.begin(), calls.begin() + 2),
            (Lines{label("title", "Installing"), label("detail", "step 2 of 3")}));
  EXPECT_EQ(calls.back(), R"({"call":"application.activate","ignoringOtherApps":true})");
}

TEST_F(WindowCommand, TakesMissingTextsAndOtherTypesAsEmpty) {
  const Lines calls =
      traceFor("{\"type\":\"window\",\"show\":true,\"title\":5,\"delayMs\":\"not looked at\"}\n");
  EXPECT_EQ(Lines(calls.begin(), calls.begin() + 2),
            (Lines{label("title", ""), label("detail", "")}));
}

TEST_F(WindowCommand, HidesTheGuestUnlessShowIsTrue) {
  const Lines commands = {R"({"type":"window"})",
                          R"({"type":"window","show":false})",
                          R"({"type":"window","show":"yes"})",
                          R"({"type":"window","show":1})",
                          R"({"type":"window","show":null,"title":"t"})",
                          R"({"type":"window","show":[true]})"};
  std::string chunk;
  for (const std::string& command : commands) chunk += command + "\n";
  EXPECT_EQ(traceFor(chunk), Lines(commands.size(), prohibited));
}

TEST_F(WindowCommand, CausesNoEventAndNoWarning) {
  traceFor("{\"type\":\"window\",\"show\":true}\n{\"type\":\"window\"}\n");
  EXPECT_EQ(tool_.events().size(), 3U);
  EXPECT_EQ(tool_.warnings(), "");
}

}  // namespace
}  // namespace parlen::test
