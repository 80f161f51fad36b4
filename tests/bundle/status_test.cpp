#include <gtest/gtest.h>
#include <unistd.h>

#include "events/event_stream.h"
#include "support/tool.h"

namespace parlen::test {
namespace {

using Lines = std::vector<std::string>;

TEST(Status, ReportsAWholeBundle) {
  Tool tool;
  const std::string bundle = tool.makeBundle("vm1");
  ASSERT_TRUE(tool.system().files().setLength(bundle + "/Disk.img", std::uint64_t{80} << 30U));
  EXPECT_EQ(tool.run({"status", "--bundle", bundle + "/"}), endedWith(0));
  EXPECT_EQ(tool.events(),
            Lines{R"({"auxiliaryStorage":true,"bundle":)" + jsonEscape(bundle) +
                  R"(,"cpuCount":4,"disk":true,"diskBytes":85899345920,"diskGb":80,"exists":true,)"
                  R"("guestConfig":false,"hardwareModel":true,"macAddress":"0a:00:00:00:00:01",)"
                  R"("machineIdentifier":true,"memoryBytes":4294967296,"supported":true,)"
                  R"("type":"status"})"});
  EXPECT_EQ(tool.warnings(), "");
  EXPECT_EQ(tool.trace(), Lines{}) << "nothing is asked of the host but whether it can";
}

std::string reportOfNothing(const std::string& path, const std::string& exists = "false") {
  return R"({"auxiliaryStorage":false,"bundle":)" + jsonEscape(path) +
         R"(,"disk":false,"exists":)" + exists +
         R"(,"guestConfig":false,"hardwareModel":false,"machineIdentifier":false,)"
         R"("supported":true,"type":"status"})";
}

TEST(Status, ReportsNothingWhereNothingIs) {
  Tool tool;
  EXPECT_EQ(tool.run({"status", "--bundle", "/none/vm"}), endedWith(0));
  EXPECT_EQ(tool.events(), Lines{reportOfNothing("/none/vm")});
}

TEST(Status, ReportsAFileInTheBundlesPlaceAsNothing) {
  Tool tool;
  tool.write("file", "x");
  EXPECT_EQ(tool.run({"status", "--bundle", tool.path("file")}), endedWith(0));
  EXPECT_EQ(tool.events(), Lines{reportOfNothing(tool.path("file"))});
}

TEST(Status, ReportsAnEmptyDirectoryAsABundleWithoutMembers) {
  Tool tool;
  tool.makeDirectory("b");
  EXPECT_EQ(tool.run({"status", "--bundle", tool.path("b")}), endedWith(0));
  EXPECT_EQ(tool.events(), Lines{reportOfNothing(tool.path("b"), "true")});
}

TEST(Status, LeavesTheSettingsOutTogether) {
  Tool tool;
  const std::string bundle = tool.makeBundle("b");
  tool.write("b/vm.json", R"({"macAddress":"a","cpuCount":2,"memoryBytes":1})");
  EXPECT_EQ(tool.run({"status", "--bundle", bundle}), endedWith(0));
  for (const char* member : {"cpuCount", "diskGb", "macAddress", "memoryBytes"}) {
    EXPECT_FALSE(tool.events()[0].contains(member)) << tool.events()[0];
  }
  EXPECT_TRUE(tool.events()[0].contains("diskBytes"));
}

TEST(Status, OnlyLooksWhetherMembersAreThere) {
  Tool tool;
  tool.makeDirectory("b/share");
  tool.makeDirectory("b/Disk.img");
  for (const char* name :
       {"b/HardwareModel", "b/MachineIdentifier", "b/AuxiliaryStorage", "b/share/parlen-vm.json"}) {
    tool.write(name, "");
  }
  EXPECT_EQ(tool.run({"status", "--bundle", tool.path("b")}), endedWith(0));
  for (const char* member :
       {"disk", "hardwareModel", "machineIdentifier", "auxiliaryStorage", "guestConfig"}) {
    EXPECT_TRUE(tool.events()[0].contains("\"" + std::string(member) + "\":true"))
        << tool.events()[0];
  }
  EXPECT_TRUE(tool.events()[0].contains(R"("diskBytes":)")) << "a directory has a size too";
}

TEST(Status, EscapesTheBundlesPath) {
  Tool tool;
  EXPECT_EQ(tool.run({"status", "--bundle", "/none/a\"b\\c\n"}), endedWith(0));
  EXPECT_EQ(tool.events(), Lines{reportOfNothing("/none/a\"b\\c\n")});
}

TEST(Status, FailsForAPathThatNoJsonCanHold) {
  Tool tool;
  EXPECT_EQ(tool.run({"status", "--bundle", "/none/\xff"}), endedWith(1));
  EXPECT_EQ(
      tool.events(),
      Lines{
          R"({"type":"error","code":"status-failed","message":"could not encode the bundle's status"})"});
}

TEST(Status, SaysWhetherTheHostCanRunMachines) {
  Tool tool(R"({"host":{"supported":false}})");
  EXPECT_EQ(tool.run({"status", "--bundle", "/none"}), endedWith(0));
  EXPECT_TRUE(tool.events()[0].contains(R"("supported":false)"));
}

TEST(Status, ReportsTheDiskBehindALink) {
  Tool tool;
  const std::string bundle = tool.makeBundle("b");
  tool.write("disk", "12345");
  ASSERT_TRUE(tool.system().files().remove(bundle + "/Disk.img"));
  ASSERT_EQ(symlink("../disk", (bundle + "/Disk.img").c_str()), 0);
  EXPECT_EQ(tool.run({"status", "--bundle", bundle}), endedWith(0));
  EXPECT_TRUE(tool.events()[0].contains(R"("disk":true,"diskBytes":5,)")) << tool.events()[0];
}

TEST(Status, ReportsNoDiskBehindALinkToNothing) {
  Tool tool;
  const std::string bundle = tool.makeBundle("b");
  ASSERT_TRUE(tool.system().files().remove(bundle + "/Disk.img"));
  ASSERT_EQ(symlink("nothing", (bundle + "/Disk.img").c_str()), 0);
  EXPECT_EQ(tool.run({"status", "--bundle", bundle}), endedWith(0));
  EXPECT_TRUE(tool.events()[0].contains(R"("disk":false,"diskGb":80)")) << tool.events()[0];
}

TEST(Status, ReportsTheBundleBehindALinkUnderTheLinksName) {
  Tool tool;
  tool.makeBundle("b");
  ASSERT_EQ(symlink("b", tool.path("link").c_str()), 0);
  EXPECT_EQ(tool.run({"status", "--bundle", tool.path("link")}), endedWith(0));
  EXPECT_TRUE(tool.events()[0].contains(R"("exists":true)"));
  EXPECT_TRUE(tool.events()[0].contains(jsonEscape(tool.path("link"))));
}

}  // namespace
}  // namespace parlen::test
