#include "control/commands.h"

#include <gtest/gtest.h>

#include "support/event_lines.h"
#include "support/tool.h"

namespace parlen::test {
namespace {

using Lines = std::vector<std::string>;

const std::string malformed = "parlen-mac-vm: ignoring a malformed command line\n";

std::string inputFailed(const std::string& message) { return error("input-failed", message); }

const std::string needsGui =
    inputFailed("input verbs need --gui — a headless run has no VZVirtualMachineView to type into");
const std::string needsText = inputFailed("the text verb needs a non-empty \"text\" string");
const std::string needsKey = inputFailed("the key verb needs a non-empty \"key\" chord");

/// A headless run to which these chunks are sent, one after the other, once the guest runs.
class Commands : public testing::Test {
 protected:
  /// The events that the chunks caused.
  Lines eventsFor(const Lines& chunks) {
    const std::string bundle = tool_.makeBundle("vm1");
    int at = 10;
    for (const std::string& chunk : chunks) tool_.sendAt(at++, chunk);
    EXPECT_EQ(tool_.run({"run", "--bundle", bundle}), stillRunning());
    const Lines events = tool_.events();
    return {events.begin() + 3, events.end()};
  }

  Tool tool_;
};

TEST_F(Commands, AreCarriedOutInOrderInOnePass) {
  EXPECT_EQ(
      eventsFor({"{\"type\":\"resume\"}\n{\"type\":\"pause\"}\n{\"type\":\"pause\"}\n"}),
      (Lines{
          R"({"type":"error","code":"resume-refused","message":"cannot resume the guest: the VM is running"})",
          R"({"type":"error","code":"pause-refused","message":"cannot pause the guest: the VM is pausing"})",
          paused}));
}

TEST_F(Commands, AreCarriedOutOnceTheirLineFeedArrives) {
  EXPECT_EQ(eventsFor({"{\"type\":\"pa", "use\"}\n", "{\"type\":\"resume\"}"}), Lines{paused});
}

TEST_F(Commands, MayHaveSpacesAndACarriageReturnAroundThem) {
  EXPECT_EQ(eventsFor({" \t{ \"type\" : \"pause\" } \r\n"}), Lines{paused});
  EXPECT_EQ(tool_.warnings(), "");
}

TEST_F(Commands, IgnoreMembersThatTheyDoNotUse) {
  EXPECT_EQ(eventsFor({"{\"type\":\"pause\",\"delayMs\":\"x\",\"title\":[{}]}\n"}), Lines{paused});
}

TEST_F(Commands, TakeTheLastOfARepeatedMember) {
  EXPECT_EQ(eventsFor({"{\"type\":\"stop\",\"type\":\"pause\"}\n"}), Lines{paused});
}

TEST_F(Commands, SkipEmptyLinesWithoutAWarning) {
  EXPECT_EQ(eventsFor({"\n\n\n"}), Lines{});
  EXPECT_EQ(tool_.warnings(), "");
}

TEST_F(Commands, WarnOfEachMalformedLineAndGoOn) {
  const Lines lines = {"[1,2]",
                       "\"stop\"",
                       "42",
                       R"({"verb":"stop"})",
                       R"({"type":5})",
                       R"({"type":null})",
                       " ",
                       "\r",
                       "{",
                       R"({"type":"stop")",
                       "null",
                       R"({"type":"stop"}x)",
                       "{\"type\":\"stop\xff\"}",
                       R"({'type':'stop'})",
                       R"({"type":"\ud800"})"};
  std::string chunk;
  std::string warnings;
  for (const std::string& line : lines) {
    chunk += line + "\n";
    warnings += malformed;
  }
  EXPECT_EQ(eventsFor({chunk + "{\"type\":\"pause\"}\n"}), Lines{paused});
  EXPECT_EQ(tool_.warnings(), warnings);
}

TEST_F(Commands, WarnOfAnUnknownVerbAsItWasWritten) {
  EXPECT_EQ(eventsFor({"{\"type\":\"STOP\"}\n{\"type\":\"\"}\n{\"type\":\"é'\\n\"}\n"}), Lines{});
  EXPECT_EQ(tool_.warnings(),
            "parlen-mac-vm: ignoring an unknown command 'STOP'\n"
            "parlen-mac-vm: ignoring an unknown command ''\n"
            "parlen-mac-vm: ignoring an unknown command 'é'\n'\n");
}

TEST_F(Commands, NeedTheirLineFeedAtTheEndOfInputToo) {
  const std::string bundle = tool_.makeBundle("vm1");
  tool_.sendAt(10, "{\"type\":\"pause\"}");
  tool_.closeInputAt(20);
  EXPECT_EQ(tool_.run({"run", "--bundle", bundle}), endedWith(0));
  EXPECT_FALSE(tool_.system().streams().output.contains("paused"));
}

TEST_F(Commands, NeedATextToType) {
  EXPECT_EQ(eventsFor({"{\"type\":\"text\"}\n{\"type\":\"text\",\"text\":\"\"}\n"
                       "{\"type\":\"text\",\"text\":5}\n"}),
            (Lines{needsText, needsText, needsText}));
}

TEST_F(Commands, NeedAKeyToPress) {
  EXPECT_EQ(eventsFor({"{\"type\":\"key\"}\n{\"type\":\"key\",\"key\":\"\"}\n"
                       "{\"type\":\"key\",\"key\":[\"a\"]}\n"}),
            (Lines{needsKey, needsKey, needsKey}));
}

TEST_F(Commands, CannotTypeIntoAHeadlessGuestWhateverElseIsWrong) {
  EXPECT_EQ(eventsFor({"{\"type\":\"text\",\"text\":\"a\"}\n{\"type\":\"text\",\"text\":\"é\"}\n"
                       "{\"type\":\"key\",\"key\":\"cmd+q\",\"delayMs\":5}\n"
                       "{\"type\":\"key\",\"key\":\"nonsense\",\"delayMs\":\"x\"}\n"}),
            (Lines{needsGui, needsGui, needsGui, needsGui}));
}

TEST_F(Commands, OfAMegabyteAreCarriedOut) {
  std::string line = R"({"type":"pause","padding":")" + std::string(1 << 20, 'x') + "\"}\n";
  Lines chunks;
  for (std::size_t at = 0; at < line.size(); at += 65536) chunks.push_back(line.substr(at, 65536));
  EXPECT_EQ(eventsFor(chunks), Lines{paused});
}

}  // namespace
}  // namespace parlen::test
