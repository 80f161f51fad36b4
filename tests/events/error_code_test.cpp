#include "events/error_code.h"

#include <gtest/gtest.h>

namespace parlen {
namespace {

TEST(VMErrorCode, IsTheLimitForTheFrameworksCodeInAnySentence) {
  EXPECT_EQ(vmErrorCode({"VZErrorDomain", 6, "no more"}), "vm-limit");
  EXPECT_EQ(vmErrorCode({"VZErrorDomain", 6, ""}), "vm-limit");
}

TEST(VMErrorCode, IsTheLimitForASentenceThatNamesItInAnyCase) {
  EXPECT_EQ(vmErrorCode({"Other", 1, "The Virtual MACHINE limit is reached"}), "vm-limit");
  EXPECT_EQ(vmErrorCode({"VZErrorDomain", 1, "virtual machine limit"}), "vm-limit");
}

TEST(VMErrorCode, IsAFailedBootForEveryOtherError) {
  EXPECT_EQ(vmErrorCode({"Other", 6, "unrelated"}), "boot-failed");
  EXPECT_EQ(vmErrorCode({"VZErrorDomain", 5, "unrelated"}), "boot-failed");
  EXPECT_EQ(vmErrorCode({"Other", 1, "machine limit"}), "boot-failed");
  EXPECT_EQ(vmErrorCode({"Other", 1, "virtual  machine limit"}), "boot-failed");
  EXPECT_EQ(vmErrorCode({"", 0, ""}), "boot-failed");
}

TEST(DescribeVMState, HasWordsForEveryKnownState) {
  const char* words[] = {"stopped",  "running",  "paused",   "in an error state",
                         "starting", "pausing",  "resuming", "stopping",
                         "saving",   "restoring"};
  for (std::int64_t state = 0; state < 10; ++state) EXPECT_EQ(describeVMState(state), words[state]);
}

TEST(DescribeVMState, NamesAnUnknownStateByItsNumber) {
  EXPECT_EQ(describeVMState(10), "in state 10");
  EXPECT_EQ(describeVMState(42), "in state 42");
  EXPECT_EQ(describeVMState(-1), "in state -1");
}

}  // namespace
}  // namespace parlen
