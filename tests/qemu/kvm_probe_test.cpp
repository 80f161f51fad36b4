#include "platform/qemu/kvm_probe.h"

#include <gtest/gtest.h>

namespace parlen::qemu {
namespace {

TEST(ProcessorInformation, NamesAProcessorThatRunsGuests) {
  EXPECT_TRUE(hasVirtualizationFlag("processor\t: 0\nflags\t\t: fpu vmx sse\n"));
  EXPECT_TRUE(hasVirtualizationFlag("flags\t\t: fpu svm"));
  EXPECT_TRUE(hasVirtualizationFlag("flags : svm"));
}

TEST(ProcessorInformation, IsNotFooledByOtherWords) {
  EXPECT_FALSE(hasVirtualizationFlag(""));
  EXPECT_FALSE(hasVirtualizationFlag("flags\t\t: fpu svm_lock avmx vmxx\n"));
  EXPECT_FALSE(hasVirtualizationFlag("vmx flags\t: vnmi\nmodel name: vmx\n"));
  EXPECT_FALSE(hasVirtualizationFlag("flags"));
}

}  // namespace
}  // namespace parlen::qemu
