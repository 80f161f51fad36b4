#include "platform/qemu/guest_platform.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <optional>
#include <set>
#include <string>

#include "support/environment_variable.h"
#include "support/posix_fixtures.h"
#include "support/temporary_directory.h"
#include "support/test_system.h"

namespace parlen::qemu {
namespace {

/// A host with programs and firmware of the test's own.
class GuestPlatformTest : public testing::Test {
 protected:
  GuestPlatformTest() {
    host_.architecture = "x86_64";
    host_.descriptorFolders = {directory_ / "descriptors"};
    host_.hasProgram = [this](std::string_view name) {
      return programs.contains(std::string(name));
    };
    EXPECT_TRUE(files().createDirectories(directory_ / "descriptors"));
  }

  /// Installs firmware and returns the path of its code.
  std::string install(const std::string& name, const std::string& architecture = "x86_64",
                      const std::string& machines = "pc-q35-*") {
    const std::string code = directory_ / (name + ".code");
    const std::string variables = directory_ / (name + ".variables");
    EXPECT_TRUE(files().replace(code, ""));
    EXPECT_TRUE(files().replace(variables, ""));
    EXPECT_TRUE(files().replace(
        directory_ / ("descriptors/" + name + ".json"),
        R"({"interface-types":["uefi"],"features":[],"mapping":{"device":"flash","executable":)"
        R"({"filename":")" +
            code + R"(","format":"raw"},"nvram-template":{"filename":")" + variables +
            R"(","format":"raw"}},"targets":[{"architecture":")" + architecture +
            R"(","machines":[")" + machines + R"("]}]})"));
    return code;
  }

  std::string errorOf(const platform::Result<GuestPlatform>& platform) {
    return platform ? "" : platform.error().description;
  }

  platform::Files& files() { return system_.files(); }
  Installed& host() { return host_; }

  std::set<std::string> programs{"qemu-system-x86_64", "qemu-system-aarch64", "qemu-img"};

 private:
  test::TemporaryDirectory directory_;
  test::TestSystem system_;
  Installed host_;
};

TEST_F(GuestPlatformTest, OfANewGuestHasThePreferredFirmware) {
  install("60-later");
  const std::string code = install("50-first");

  const auto platform = newGuestPlatform(host());

  ASSERT_TRUE(platform) << errorOf(platform);
  EXPECT_EQ(platform->firmware.code, code);
  EXPECT_EQ(platform->board, boardFor("x86_64"));
}

TEST_F(GuestPlatformTest, IsTheHostsArchitecture) {
  install("50-other");
  const std::string code = install("60-ours", "aarch64", "virt-*");
  host().architecture = "aarch64";

  const auto platform = newGuestPlatform(host());

  ASSERT_TRUE(platform) << errorOf(platform);
  EXPECT_EQ(platform->firmware.code, code);
  EXPECT_EQ(platform->board->machineType, "virt");
}

TEST_F(GuestPlatformTest, NamesEverythingThatIsMissing) {
  programs.clear();

  EXPECT_EQ(errorOf(newGuestPlatform(host())),
            "to run guests, this host needs qemu-system-x86_64 (Debian's package qemu-system-x86), "
            "qemu-img (Debian's package qemu-utils), UEFI firmware for x86_64 (Debian's package "
            "ovmf)");
  host().architecture = "aarch64";
  EXPECT_EQ(errorOf(newGuestPlatform(host())),
            "to run guests, this host needs qemu-system-aarch64 (Debian's package "
            "qemu-system-arm), qemu-img (Debian's package qemu-utils), UEFI firmware for aarch64 "
            "(Debian's package qemu-efi-aarch64)");
}

TEST_F(GuestPlatformTest, NeedsADescriptorOfTheGuestsFirmware) {
  const std::string code = install("60-its-own");
  EXPECT_TRUE(files().replace(host().descriptorFolders.front() + "/60-its-own.json", ""));

  EXPECT_EQ(errorOf(guestPlatform("x86_64", "q35", code, host())),
            "to run guests, this host needs the guest's firmware " + code +
                " and a descriptor of it (Debian's package ovmf)");
}

TEST_F(GuestPlatformTest, NamesTheImageToolAlone) {
  install("firmware");
  programs.erase("qemu-img");

  EXPECT_EQ(errorOf(newGuestPlatform(host())),
            "to run guests, this host needs qemu-img (Debian's package qemu-utils)");
}

TEST_F(GuestPlatformTest, NeedsAProcessorThatQemuHasABoardFor) {
  host().architecture = "m68k";

  EXPECT_EQ(errorOf(newGuestPlatform(host())),
            "there are no guests for processors of the kind m68k");
}

TEST_F(GuestPlatformTest, OfAGuestKeepsItsFirmware) {
  install("50-newer");
  const std::string code = install("60-its-own");

  const auto platform = guestPlatform("x86_64", "q35", code, host());

  ASSERT_TRUE(platform) << errorOf(platform);
  EXPECT_EQ(platform->firmware.code, code);
}

TEST_F(GuestPlatformTest, ReadsNoFileThatOnlyTheGuestNames) {
  install("firmware");

  EXPECT_EQ(
      errorOf(guestPlatform("x86_64", "q35", "/etc/passwd", host())),
      "to run guests, this host needs the guest's firmware /etc/passwd and a descriptor of it "
      "(Debian's package ovmf)");
}

TEST_F(GuestPlatformTest, OfAnotherArchitectureIsAnError) {
  const std::string arm = install("60-arm", "aarch64", "virt-*");
  const std::string pc = install("60-pc");

  EXPECT_EQ(errorOf(guestPlatform("aarch64", "virt", arm, host())),
            "the guest is for aarch64, and this host is x86_64");
  host().architecture = "aarch64";
  EXPECT_EQ(errorOf(guestPlatform("x86_64", "q35", pc, host())),
            "the guest is for x86_64, and this host is aarch64");
  EXPECT_EQ(errorOf(guestPlatform("aarch64", "virt", arm, host())), "");
}

TEST_F(GuestPlatformTest, OfAnotherMachineTypeIsAnError) {
  EXPECT_EQ(errorOf(guestPlatform("x86_64", "microvm", install("firmware"), host())),
            "this host has no machine type microvm");
}

TEST_F(GuestPlatformTest, KnowsTheGuestsOfTheFirstVersion) {
  const std::string code = "/usr/share/OVMF/OVMF_CODE_4M.fd";
  if (!files().exists(code)) GTEST_SKIP() << code << " is not installed";

  const auto platform = guestPlatform("x86_64", "q35", "ovmf-4m", host());

  ASSERT_TRUE(platform) << errorOf(platform);
  EXPECT_EQ(platform->firmware,
            (Firmware{.code = code, .variables = "/usr/share/OVMF/OVMF_VARS_4M.fd"}));
  host().architecture = "aarch64";
  EXPECT_NE(errorOf(guestPlatform("aarch64", "virt", "ovmf-4m", host())), "");
}

TEST(ThisHost, HasTheDescriptorFolderOfItsUser) {
  const test::EnvironmentVariable home("HOME", "/home/ada");
  {
    const test::EnvironmentVariable configuration("XDG_CONFIG_HOME", "/configuration");
    EXPECT_EQ(thisHost().descriptorFolders.back(), "/configuration/qemu/firmware");
  }
  const test::EnvironmentVariable configuration("XDG_CONFIG_HOME", std::nullopt);
  EXPECT_EQ(thisHost().descriptorFolders.back(), "/home/ada/.config/qemu/firmware");
}

TEST(ThisHost, HasAProgramThatPathLeadsTo) {
  const test::TemporaryDirectory directory;
  const test::PathVariable path(directory.path());
  EXPECT_FALSE(thisHost().hasProgram("some-emulator"));

  test::putFile(directory / "some-emulator", "");
  std::filesystem::permissions(directory / "some-emulator", std::filesystem::perms::owner_all);

  EXPECT_TRUE(thisHost().hasProgram("some-emulator"));
}

}  // namespace
}  // namespace parlen::qemu
