#include "bundle/vm_bundle.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "support/tool.h"

namespace parlen::test {
namespace {

class Bundle : public testing::Test {
 protected:
  Tool tool_;
};

TEST_F(Bundle, IsAbsoluteAndHasNoTrailingSlash) {
  const std::string here = tool_.system().files().currentDirectory();
  EXPECT_EQ(VMBundle("/tmp/vm1").root(), "/tmp/vm1");
  EXPECT_EQ(VMBundle("/tmp/vm1/").root(), "/tmp/vm1");
  EXPECT_EQ(VMBundle("/tmp//vm1//").root(), "/tmp/vm1");
  EXPECT_EQ(VMBundle("/tmp/./vm1/.").root(), "/tmp/vm1");
  EXPECT_EQ(VMBundle("vm1").root(), here + "/vm1");
  EXPECT_EQ(VMBundle("./vm1/").root(), here + "/vm1");
  EXPECT_EQ(VMBundle(".").root(), here);
  EXPECT_EQ(VMBundle("").root(), here);
  EXPECT_EQ(VMBundle("/").root(), "/");
}

TEST_F(Bundle, KeepsStepsUpwardsBecauseALinkMayStandBeforeThem) {
  EXPECT_EQ(VMBundle("/tmp/link/../vm1").root(), "/tmp/link/../vm1");
  EXPECT_EQ(VMBundle("/tmp/..vm").root(), "/tmp/..vm");
}

TEST_F(Bundle, HasTheNameOfItsDirectory) {
  EXPECT_EQ(VMBundle("/tmp/vm1/").name(), "vm1");
  EXPECT_EQ(VMBundle("/vm1").name(), "vm1");
  EXPECT_EQ(VMBundle("/").name(), "/");
}

TEST_F(Bundle, LiesInADirectoryThatEndsAtTheRoot) {
  EXPECT_EQ(parentOf("/tmp/vm1"), "/tmp");
  EXPECT_EQ(parentOf("/tmp"), "/");
  EXPECT_EQ(parentOf("/"), "/");
}

TEST_F(Bundle, NamesItsMembersInOnePlace) {
  const VMBundle bundle("/b");
  EXPECT_EQ(bundle.disk(), "/b/Disk.img");
  EXPECT_EQ(bundle.auxiliaryStorage(), "/b/AuxiliaryStorage");
  EXPECT_EQ(bundle.hardwareModel(), "/b/HardwareModel");
  EXPECT_EQ(bundle.machineIdentifier(), "/b/MachineIdentifier");
  EXPECT_EQ(bundle.settings(), "/b/vm.json");
  EXPECT_EQ(bundle.share(), "/b/share");
  EXPECT_EQ(bundle.guestConfig(), "/b/share/parlen-vm.json");
  EXPECT_EQ(bundle.logs(), "/b/logs");
  EXPECT_EQ(VMBundle("/").disk(), "/Disk.img");
}

TEST_F(Bundle, ExistsWhereADirectoryIs) {
  tool_.makeDirectory("directory");
  tool_.write("file", "");
  EXPECT_TRUE(VMBundle(tool_.path("directory")).exists());
  EXPECT_FALSE(VMBundle(tool_.path("file")).exists());
  EXPECT_FALSE(VMBundle(tool_.path("nothing")).exists());
}

TEST_F(Bundle, ExistsBehindALink) {
  tool_.makeDirectory("directory");
  ASSERT_EQ(symlink("directory", tool_.path("link").c_str()), 0);
  ASSERT_EQ(symlink("nothing", tool_.path("dangling").c_str()), 0);
  EXPECT_TRUE(VMBundle(tool_.path("link")).exists());
  EXPECT_FALSE(VMBundle(tool_.path("dangling")).exists());
}

}  // namespace
}  // namespace parlen::test
