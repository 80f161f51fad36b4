#include "platform/qemu/kvm_probe.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <string_view>

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

constexpr std::string_view flag = "flags\t\t: vmx\n";
constexpr std::chrono::minutes patient{1};

TEST(Kvm, WorksWithItsFlagIfItRunsCode) {
  EXPECT_TRUE(kvmWorks(flag, [] { return true; }, patient));
  EXPECT_FALSE(kvmWorks(flag, [] { return false; }, patient));
  EXPECT_FALSE(kvmWorks("flags\t\t: fpu\n", [] { return true; }, patient));
}

TEST(Kvm, DoesNotWorkIfItKillsItsProcess) {
  EXPECT_FALSE(kvmWorks(flag, [] { return ::raise(SIGKILL) == 0; }, patient));
}

TEST(Kvm, DoesNotWorkIfItHangs) {
  const auto hang = [] {
    while (true) ::pause();
    return true;
  };
  EXPECT_FALSE(kvmWorks(flag, hang, std::chrono::milliseconds(1)));
}

}  // namespace
}  // namespace parlen::qemu
