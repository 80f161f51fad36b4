#include "platform/qemu/last_message.h"

#include <gtest/gtest.h>

namespace parlen::qemu {
namespace {

std::string lastOf(std::string_view output) {
  LastMessage message("qemu");
  message.add(output);
  return message.text();
}

TEST(LastMessage, IsTheLastLineWithoutTheProgramsName) {
  EXPECT_EQ(lastOf("qemu: first\nqemu: second\n"), "second");
  EXPECT_EQ(lastOf("first\nsecond\n"), "second");
}

TEST(LastMessage, IsEmptyForAProgramThatSaidNothing) {
  EXPECT_EQ(lastOf(""), "");
  EXPECT_EQ(lastOf("\n\r\n"), "");
}

TEST(LastMessage, CountsALineWithoutItsEnd) {
  EXPECT_EQ(lastOf("qemu: first\nqemu: sec"), "sec");
  EXPECT_EQ(lastOf("qemu: first\n\n"), "first");
}

TEST(LastMessage, KeepsAnErrorWithTheHintBehindIt) {
  EXPECT_EQ(lastOf("qemu: old\nqemu: Failed to get lock\nIs another process using it?\n"),
            "Failed to get lock Is another process using it?");
}

TEST(LastMessage, TakesNoWarningForAnError) {
  EXPECT_EQ(lastOf("qemu: warning: slow\nassertion failed\n"), "assertion failed");
}

TEST(LastMessage, IsTheSameHoweverTheBytesArrive) {
  const std::string output = "qemu: one\r\nqemu: two\nhint\n";
  for (std::size_t cut = 0; cut <= output.size(); ++cut) {
    LastMessage message("qemu");
    message.add(output.substr(0, cut));
    message.add(output.substr(cut));
    EXPECT_EQ(message.text(), "two hint") << "cut at " << cut;
  }
}

TEST(LastMessage, CutsAnEndlessLine) { EXPECT_EQ(lastOf(std::string(100'000, 'x')).size(), 4096U); }

}  // namespace
}  // namespace parlen::qemu
