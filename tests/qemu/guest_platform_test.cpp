#include "platform/qemu/guest_platform.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "support/path_variable.h"
#include "support/posix_fixtures.h"
#include "support/temporary_directory.h"

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

constexpr GuestPlatform elsewhere{.architecture = "x86_64",
                                  .machineType = "q35",
                                  .firmware = "ovmf-4m",
                                  .emulator = "some-emulator",
                                  .firmwareCode = "/dev/null",
                                  .firmwareVariables = "/dev/null"};

void installProgram(const std::string& path) {
  test::putFile(path, "");
  std::filesystem::permissions(path, std::filesystem::perms::owner_all);
}

TEST(GuestPlatform, IsInstalledIfPathLeadsToItsEmulator) {
  const test::TemporaryDirectory directory;
  const test::PathVariable path(directory.path());
  installProgram(directory / "qemu-img");
  EXPECT_FALSE(isInstalled(elsewhere));

  installProgram(directory / "some-emulator");

  EXPECT_TRUE(isInstalled(elsewhere));
}

TEST(GuestPlatform, IsNotInstalledWithoutTheImageTool) {
  const test::TemporaryDirectory root;
  const std::string programs = root / "usr/bin";
  std::filesystem::create_directories(programs);
  std::filesystem::create_directories(root / "dev");
  test::putFile(root / "dev/null", "");
  installProgram(programs + "/some-emulator");
  enum Answer { no, yes, unknown };
  const auto ask = [&] {
    return WEXITSTATUS(test::inChild([&] {
      if (::chroot(root.path().c_str()) != 0) return unknown;
      return isInstalled(elsewhere) ? yes : no;
    }));
  };
  if (ask() == unknown) GTEST_SKIP() << "this process may not change its root";
  EXPECT_EQ(ask(), no);

  installProgram(programs + "/qemu-img");

  EXPECT_EQ(ask(), yes);
}

}  // namespace
}  // namespace parlen::qemu
