#include "platform/qemu/guest_platform.h"

#include <gtest/gtest.h>

namespace parlen::qemu {
namespace {

TEST(GuestPlatform, IsFoundByItsNames) {
  EXPECT_NE(findGuestPlatform("x86_64", "q35", "ovmf-4m"), nullptr);
  EXPECT_EQ(findGuestPlatform("x86_64", "q35", "bios"), nullptr);
  EXPECT_EQ(findGuestPlatform("", "", ""), nullptr);
}

TEST(GuestPlatform, IsNotInstalledWithoutItsFirmware) {
  GuestPlatform platform = *findGuestPlatform("x86_64", "q35", "ovmf-4m");
  platform.firmwareCode = "/nowhere/firmware";

  EXPECT_FALSE(isInstalled(platform));
}

}  // namespace
}  // namespace parlen::qemu
