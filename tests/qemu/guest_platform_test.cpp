#include "platform/qemu/guest_platform.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "support/temporary_directory.h"
#include "support/test_system.h"

namespace parlen::qemu {
namespace {

class Programs : public testing::Test {
 protected:
  std::string makeProgram(const std::string& directory, mode_t mode) {
    const std::string folder = directory_ / directory;
    EXPECT_TRUE(system_.files().createDirectories(folder));
    EXPECT_TRUE(system_.files().write(folder + "/tool", "#!/bin/sh\n"));
    EXPECT_EQ(chmod((folder + "/tool").c_str(), mode), 0);
    return folder;
  }
  std::string root() const { return directory_.path(); }

 private:
  test::TemporaryDirectory directory_;
  test::TestSystem system_;
};

TEST_F(Programs, AreFoundInTheFirstDirectoryThatHasThem) {
  const std::string first = makeProgram("first", 0755);
  const std::string second = makeProgram("second", 0755);

  EXPECT_EQ(findProgram("tool", "/nowhere:" + first + ":" + second), first + "/tool");
  EXPECT_EQ(findProgram("tool", second + ":" + first), second + "/tool");
}

TEST_F(Programs, AreNoFoldersAndNoFilesThatCannotBeRun) {
  const std::string data = makeProgram("data", 0644);

  EXPECT_EQ(findProgram("tool", data), std::nullopt);
  EXPECT_EQ(findProgram("data", root()), std::nullopt);
  EXPECT_EQ(findProgram("tool", ""), std::nullopt);
}

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
