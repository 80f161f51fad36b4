#include "app/command_line.h"

#include <gtest/gtest.h>

#include "events/event_stream.h"
#include "support/tool.h"

namespace parlen::test {
namespace {

using Lines = std::vector<std::string>;

constexpr std::string_view usageText =
    "usage: parlen-mac-vm <create|run|clone|status> [options]\n"
    "  create --ipsw <path> --bundle <dir> --disk-gb <n>\n"
    "  run    --bundle <dir> [--gui] [--share <dir>] [--logs-share <dir>]\n"
    "  clone  --from <dir> --to <dir> [--regenerate-machine-id]\n"
    "  status --bundle <dir>\n"
    "  window-size-check --visible x,y,w,h [--guest WxH] [--scale n] [--chrome pt]  (test hook)";

std::string usageError(const std::string& before) {
  return R"({"type":"error","code":"bad-usage","message":)" +
         jsonEscape(before + std::string(usageText)) + "}";
}

TEST(CommandLine, PrintsItsUsageWithoutArguments) {
  Tool tool;
  EXPECT_EQ(tool.run({}), endedWith(1));
  EXPECT_EQ(tool.events(), Lines{usageError("")});
}

TEST(CommandLine, NamesAnUnknownSubcommand) {
  for (const std::string word : {"Create", "--bundle", "stat", "", "run ", "STATUS"}) {
    Tool tool;
    EXPECT_EQ(tool.run({word, "x"}), endedWith(1));
    EXPECT_EQ(tool.events(), Lines{usageError("unknown subcommand '" + word + "'\n")});
  }
}

struct Missing {
  std::vector<std::string> words;
  std::string option;
};

class MissingOption : public testing::TestWithParam<Missing> {};

TEST_P(MissingOption, IsNamedAndNothingElseHappens) {
  Tool tool;
  EXPECT_EQ(tool.run(GetParam().words), endedWith(1));
  EXPECT_EQ(tool.events(), Lines{usageError("missing --" + GetParam().option + "\n")});
  EXPECT_EQ(tool.warnings(), "");
}

INSTANTIATE_TEST_SUITE_P(
    CommandLine, MissingOption,
    testing::Values(Missing{{"create"}, "ipsw"}, Missing{{"create", "--bundle", "b"}, "ipsw"},
                    Missing{{"create", "--ipsw", "i"}, "bundle"},
                    Missing{{"create", "--bundle", "b", "--ipsw"}, "ipsw"},
                    Missing{{"create", "--ipsw=i", "--bundle", "b"}, "ipsw"},
                    Missing{{"create", "-ipsw", "i", "--bundle", "b"}, "ipsw"},
                    Missing{{"run"}, "bundle"}, Missing{{"run", "--gui", "--bundle"}, "bundle"},
                    Missing{{"run", "--Bundle", "b"}, "bundle"}, Missing{{"clone"}, "from"},
                    Missing{{"clone", "--to", "t"}, "from"},
                    Missing{{"clone", "--from", "f"}, "to"},
                    Missing{{"clone", "--from", "f", "--to"}, "to"},
                    Missing{{"status"}, "bundle"}));

TEST(CommandLine, TakesTheFirstOfARepeatedOption) {
  Tool tool;
  EXPECT_EQ(
      tool.run({"create", "--ipsw", "/none/a", "--ipsw", "/none/b", "--bundle", tool.path("b")}),
      endedWith(1));
  EXPECT_EQ(tool.events().back(),
            R"({"type":"error","code":"ipsw-missing","message":"no restore image at \/none\/a"})");
}

TEST(CommandLine, TakesWhateverFollowsAnOptionForItsValue) {
  Tool tool;
  EXPECT_EQ(tool.run({"run", "--bundle", "--gui"}), endedWith(1));
  EXPECT_EQ(tool.events().back(),
            R"({"type":"error","code":"bundle-missing","message":"no VM bundle at --gui"})");
  EXPECT_TRUE(has("gui"));
}

TEST(CommandLine, FindsOptionsInAnyOrderAmongStrayWords) {
  Tool tool;
  EXPECT_EQ(tool.run({"status", "stray", "--unknown", "x", "--bundle", "/none/v"}), endedWith(0));
  EXPECT_TRUE(tool.events().back().contains(R"("bundle":"\/none\/v")")) << tool.events().back();
}

TEST(CommandLine, LeavesItsOptionsToTheWindowSizeCheck) {
  Tool tool;
  EXPECT_EQ(tool.run({"window-size-check"}), endedWith(1));
  EXPECT_EQ(
      tool.events(),
      Lines{R"({"type":"error","code":"bad-usage","message":)"
            R"("window-size-check --visible x,y,w,h [--guest WxH] [--scale n] [--chrome pt]"})"});
}

TEST(CommandLine, LooksUpOptionsByTheirWholeNameOnly) {
  Tool tool;
  (void)tool.run({"status", "--bundle", "/none", "--gui", "last", "--share"});
  EXPECT_EQ(flag("gui"), "last");
  EXPECT_EQ(flag("share"), std::nullopt) << "it is the last word";
  EXPECT_EQ(flag("bund"), std::nullopt);
  EXPECT_TRUE(has("share"));
  EXPECT_FALSE(has("last"));
}

TEST(ParseInteger, ReadsADecimalWithOneSignAndNothingElse) {
  EXPECT_EQ(parseInteger("64"), 64);
  EXPECT_EQ(parseInteger("+64"), 64);
  EXPECT_EQ(parseInteger("-5"), -5);
  EXPECT_EQ(parseInteger("-0"), 0);
  EXPECT_EQ(parseInteger("007"), 7);
  EXPECT_EQ(parseInteger("9223372036854775807"), INT64_MAX);
  EXPECT_EQ(parseInteger("-9223372036854775808"), INT64_MIN);
  for (const char* text :
       {"", "+", "-", "abc", "1e3", "80G", " 1", "1 ", "1.0", "+-5", "-+5", "--5", "++5", "0x10",
        "9223372036854775808", "-9223372036854775809", "١"}) {
    EXPECT_EQ(parseInteger(text), std::nullopt) << text;
  }
}

}  // namespace
}  // namespace parlen::test
