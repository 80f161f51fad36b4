#include "bundle/configuration.h"

#include <gtest/gtest.h>

#include "events/event_stream.h"
#include "support/tool.h"

namespace parlen::test {
namespace {

using Lines = std::vector<std::string>;

std::string bundleMissing(const std::string& what, const std::string& bundle) {
  return R"({"type":"error","code":"bundle-missing","message":)" + jsonEscape(what + bundle) + "}";
}

/// The events after `ready` of a `run` that ends before anything starts.
Lines eventsAfterReady(Tool& tool, const std::string& bundle) {
  EXPECT_EQ(tool.run({"run", "--bundle", bundle}), endedWith(1));
  Lines events = tool.events();
  EXPECT_EQ(events.front(), R"({"type":"ready","proto":1})");
  events.erase(events.begin());
  return events;
}

TEST(Configuration, ChecksTheBundleInAFixedOrder) {
  Tool tool;
  tool.makeDirectory("b");
  const std::string bundle = tool.path("b");
  // Each step repairs the defect that was reported; then the next one is.
  const std::vector<std::pair<std::string, std::string>> steps = {
      {"no usable HardwareModel in ", "HardwareModel"},
      {"this host cannot run the hardware model in ", "HardwareModel"},
      {"no usable MachineIdentifier in ", "MachineIdentifier"},
      {"no Disk.img in ", "Disk.img"}};
  const std::vector<std::string> contents = {
      "parlen-simulated-hardware-model:sim-9", "parlen-simulated-hardware-model:sim-1",
      "parlen-simulated-machine-identifier:0123456789abcdef0123456789abcdef", ""};
  for (std::size_t step = 0; step < steps.size(); ++step) {
    EXPECT_EQ(tool.run({"run", "--bundle", bundle}), endedWith(1));
    EXPECT_EQ(tool.events().back(), bundleMissing(steps[step].first, bundle));
    tool.write("b/" + steps[step].second, contents[step]);
  }
  EXPECT_EQ(tool.trace(), Lines{}) << "nothing was built";
}

TEST(Configuration, NamesTheHardwareModelFirst) {
  for (const char* bytes : {"", "garbage", "parlen-simulated-hardware-model:"}) {
    Tool tool;
    tool.makeDirectory("b");
    tool.write("b/HardwareModel", bytes);
    EXPECT_EQ(eventsAfterReady(tool, tool.path("b")),
              Lines{bundleMissing("no usable HardwareModel in ", tool.path("b"))});
  }
}

TEST(Configuration, NamesAModelThatTheHostCannotRunNext) {
  Tool tool;
  tool.makeDirectory("b");
  tool.write("b/HardwareModel", "parlen-simulated-hardware-model:sim-9");
  EXPECT_EQ(eventsAfterReady(tool, tool.path("b")),
            Lines{bundleMissing("this host cannot run the hardware model in ", tool.path("b"))});
}

TEST(Configuration, NamesTheIdentifierThird) {
  for (const char* bytes : {"", "parlen-simulated-machine-identifier:0123"}) {
    Tool tool;
    tool.makeDirectory("b");
    tool.write("b/HardwareModel", "parlen-simulated-hardware-model:sim-1");
    tool.write("b/MachineIdentifier", bytes);
    EXPECT_EQ(eventsAfterReady(tool, tool.path("b")),
              Lines{bundleMissing("no usable MachineIdentifier in ", tool.path("b"))});
  }
}

TEST(Configuration, NamesTheDiskLast) {
  Tool tool;
  const std::string bundle = tool.makeBundle("b");
  ASSERT_TRUE(tool.system().files().remove(bundle + "/Disk.img"));
  ASSERT_TRUE(tool.system().files().remove(bundle + "/AuxiliaryStorage"));
  EXPECT_EQ(eventsAfterReady(tool, bundle + "//"), Lines{bundleMissing("no Disk.img in ", bundle)});
}

TEST(Configuration, CreatesNoSharesForABundleThatIsNone) {
  for (const char* missing : {"HardwareModel", "MachineIdentifier", "Disk.img"}) {
    Tool tool;
    const std::string bundle = tool.makeBundle("b");
    ASSERT_TRUE(tool.system().files().remove(bundle + "/" + missing));
    EXPECT_EQ(tool.run({"run", "--bundle", bundle, "--share", tool.path("share"), "--logs-share",
                        tool.path("logs")}),
              endedWith(1));
    EXPECT_FALSE(tool.system().files().exists(tool.path("share"))) << missing;
    EXPECT_FALSE(tool.system().files().exists(tool.path("logs"))) << missing;
  }
}

/// The configuration that a run of the bundle creates its machine from, as the host was given it.
std::string created(Tool& tool, std::vector<std::string> moreOptions = {}) {
  std::vector<std::string> words = {"run", "--bundle", tool.path("b")};
  words.insert(words.end(), moreOptions.begin(), moreOptions.end());
  EXPECT_EQ(tool.run(words), stillRunning());
  for (const std::string& call : tool.trace()) {
    if (call.starts_with(R"({"call":"machine.create")")) return call;
  }
  return "no machine was created";
}

TEST(Configuration, IsThisOneForABundle) {
  Tool tool;
  const std::string bundle = tool.makeBundle("b");
  EXPECT_EQ(
      created(tool),
      R"({"call":"machine.create","configuration":{"hardwareModel":"sim-1",)"
      R"("machineIdentifier":"0123456789abcdef0123456789abcdef",)"
      R"("auxiliaryStorage":)" +
          jsonEscape(bundle + "/AuxiliaryStorage") +
          R"(,"bootLoader":"macos","cpuCount":4,"memorySize":4294967296,)"
          R"("displays":[[[1920,1200,80]]],"storageDevices":[{"path":)" +
          jsonEscape(bundle + "/Disk.img") +
          R"(,"readOnly":false}],)"
          R"("networkDevices":[{"attachment":"nat","macAddress":"0a:00:00:00:00:01"}],)"
          R"("entropyDevices":1,"keyboards":["usb"],"pointingDevices":["usb-screen-coordinate"],)"
          R"("audioDevices":[],"directorySharingDevices":[]}})");
}

TEST(Configuration, FallsBackToDefaultsWithoutSettings) {
  for (const char* settings : {"", "{}", R"({"cpuCount":6})"}) {
    Tool tool;
    tool.makeBundle("b");
    tool.write("b/vm.json", settings);
    const std::string configuration = created(tool);
    EXPECT_TRUE(configuration.contains(R"("cpuCount":4,"memorySize":4294967296)")) << configuration;
    EXPECT_TRUE(configuration.contains(R"("macAddress":null)")) << configuration;
    EXPECT_EQ(tool.warnings(), "");
  }
}

TEST(Configuration, FallsBackToDefaultsWithoutASettingsFile) {
  Tool tool;
  const std::string bundle = tool.makeBundle("b");
  ASSERT_TRUE(tool.system().files().remove(bundle + "/vm.json"));
  const std::string configuration = created(tool);
  EXPECT_TRUE(configuration.contains(R"("cpuCount":4,"memorySize":4294967296)")) << configuration;
  EXPECT_TRUE(configuration.contains(R"("macAddress":null)")) << configuration;
}

TEST(Configuration, LeavesAnAddressThatDoesNotParseToTheHost) {
  Tool tool;
  tool.makeBundle("b");
  tool.write("b/vm.json",
             R"({"macAddress":"none","cpuCount":2,"memoryBytes":4294967296,"diskGb":1})");
  EXPECT_TRUE(created(tool).contains(R"("macAddress":null)"));
}

TEST(Configuration, PassesOutOfRangeValuesOnForTheValidationToReject) {
  for (const char* values :
       {R"("cpuCount":0,"memoryBytes":4294967296)", R"("cpuCount":9,"memoryBytes":4294967296)",
        R"("cpuCount":-1,"memoryBytes":4294967296)", R"("cpuCount":2,"memoryBytes":1)"}) {
    Tool tool;
    const std::string bundle = tool.makeBundle("b");
    tool.write("b/vm.json", R"({"macAddress":"a","diskGb":1,)" + std::string(values) + "}");
    const Lines events = eventsAfterReady(tool, bundle);
    ASSERT_EQ(events.size(), 1U);
    EXPECT_TRUE(events[0].starts_with(
        R"({"type":"error","code":"boot-failed","message":"invalid VM configuration: )"))
        << events[0];
    EXPECT_EQ(tool.calls(), Lines{"configuration.validate"});
  }
}

TEST(Configuration, SharesTheFoldersInOrderAndCreatesThem) {
  Tool tool;
  tool.makeBundle("b");
  const std::string configuration =
      created(tool, {"--logs-share", tool.path("y/deep/"), "--share", tool.path("x/deep")});
  EXPECT_TRUE(configuration.contains(
      R"("directorySharingDevices":[{"tag":"parlen-simulated-automount","path":)" +
      jsonEscape(tool.path("x/deep")) + R"(,"readOnly":true},{"tag":"parlen-logs","path":)" +
      jsonEscape(tool.path("y/deep")) + R"(,"readOnly":false}])"))
      << configuration;
  EXPECT_TRUE(tool.system().files().isDirectory(tool.path("x/deep")));
  EXPECT_TRUE(tool.system().files().isDirectory(tool.path("y/deep")));
}

TEST(Configuration, SharesTheLogsAlone) {
  Tool tool;
  tool.makeBundle("b");
  EXPECT_TRUE(created(tool, {"--logs-share", tool.path("y")})
                  .contains(R"("directorySharingDevices":[{"tag":"parlen-logs","path":)" +
                            jsonEscape(tool.path("y")) + R"(,"readOnly":false}])"));
}

TEST(Configuration, IsBuiltEvenWhenASharedFolderCannotBeCreated) {
  Tool tool;
  tool.makeBundle("b");
  tool.write("file", "");
  EXPECT_TRUE(created(tool, {"--share", tool.path("file/under")})
                  .contains(jsonEscape(tool.path("file/under"))));
}

TEST(Configuration, FailsWithTheDisksErrorWhenItCannotBeAttached) {
  Tool tool(R"({"configuration":{"attachError":{"description":"the disk is odd"}}})");
  EXPECT_EQ(
      eventsAfterReady(tool, tool.makeBundle("b")),
      Lines{
          R"({"type":"error","code":"boot-failed","message":"invalid VM configuration: the disk is odd"})"});
}

}  // namespace
}  // namespace parlen::test
