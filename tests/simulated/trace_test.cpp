#include "platform/simulated/host.h"
#include "simulated/host_fixture.h"

namespace parlen::test {
namespace {

using Trace = SimulatedHostTest;

constexpr auto bareConfiguration =
    R"("configuration":{"hardwareModel":null,"machineIdentifier":null,"auxiliaryStorage":null,)"
    R"("bootLoader":null,"cpuCount":1,"memorySize":134217728,"displays":[],"storageDevices":[],)"
    R"("networkDevices":[],"entropyDevices":0,"keyboards":[],"pointingDevices":[],)"
    R"("audioDevices":[],"directorySharingDevices":[]}})";

std::string line(const std::string& call, const std::string& rest) {
  return R"({"ms":0.000,"call":")" + call + "\"" + rest + "\n";
}

/// With the slashes as a JSON string of this program has them.
std::string escaped(const std::string& path) {
  std::string text;
  for (const char character : path) text += character == '/' ? "\\/" : std::string(1, character);
  return text;
}

platform::MachineConfiguration smallest() {
  platform::MachineConfiguration configuration;
  configuration.cpuCount = 1;
  configuration.memorySize = 134217728;
  return configuration;
}

TEST_F(Trace, IsTruncatedAtStartUp) {
  write("trace", "an earlier run's");
  useScenario("{}");
  EXPECT_EQ(trace(), "");
}

TEST_F(Trace, HasTheApplicationsCalls) {
  auto& application = host().application();
  application.setActivationPolicy(platform::ActivationPolicy::prohibited);
  application.setActivationPolicy(platform::ActivationPolicy::regular);
  application.disableAutomaticTermination("a \"guest\" runs");
  EXPECT_THROW(application.run(), LoopIdle);
  EXPECT_EQ(trace(),
            line("application.setActivationPolicy", R"(,"policy":"prohibited"})") +
                line("application.setActivationPolicy", R"(,"policy":"regular"})") +
                line("process.disableAutomaticTermination", R"(,"reason":"a \"guest\" runs"})") +
                line("application.run", "}"));
}

TEST_F(Trace, CountsMillisecondsFromTheHostsStart) {
  auto& application = host().application();
  system_.loop().skip(std::chrono::microseconds(1234567) + std::chrono::nanoseconds(999));
  application.setActivationPolicy(platform::ActivationPolicy::regular);
  system_.loop().skip(std::chrono::microseconds(33));
  application.setActivationPolicy(platform::ActivationPolicy::regular);
  EXPECT_EQ(
      trace(),
      "{\"ms\":1234.567,\"call\":\"application.setActivationPolicy\",\"policy\":\"regular\"}\n"
      "{\"ms\":1234.600,\"call\":\"application.setActivationPolicy\",\"policy\":\"regular\"}\n");
}

TEST_F(Trace, IsWrittenAtTheMomentOfTheCall) {
  auto machine = host().machines().createMachine(smallest());
  EXPECT_EQ(trace(), line("machine.create", std::string(",") + bareConfiguration));
}

TEST_F(Trace, HasTheValidationWhateverItsResult) {
  useScenario(R"({"configuration":{"validateError":{}}})");
  EXPECT_FALSE(host().machines().validate(smallest()));
  EXPECT_EQ(trace(), line("configuration.validate", std::string(",") + bareConfiguration));
}

TEST_F(Trace, ShowsTheWholeConfiguration) {
  auto configuration = installedGuest();
  configuration.graphicsDevices = {{{{1920, 1200, 80}}}};
  configuration.networkDevices = {
      {platform::NetworkAttachment::nat, platform::parseMacAddress("0A:1b:2c:3d:4e:5f")},
      {platform::NetworkAttachment::nat, {}}};
  configuration.entropyDevices = {platform::EntropyDevice::virtio};
  configuration.keyboards = {platform::Keyboard::usb};
  configuration.pointingDevices = {platform::PointingDevice::usbScreenCoordinate};
  configuration.directorySharingDevices = {{"one", "/x", platform::ShareAccess::readOnly},
                                           {"two", "/y", platform::ShareAccess::readWrite}};
  auto machine = host().machines().createMachine(configuration);
  EXPECT_EQ(trace(),
            line("machine.create",
                 R"(,"configuration":{"hardwareModel":"sim-1",)"
                 R"("machineIdentifier":"0123456789abcdef0123456789abcdef","auxiliaryStorage":")" +
                     escaped(path("AuxiliaryStorage")) +
                     R"(","bootLoader":"macos","cpuCount":4,"memorySize":4294967296,)"
                     R"("displays":[[[1920,1200,80]]],"storageDevices":[{"path":")" +
                     escaped(path("Disk.img")) +
                     R"(","readOnly":false}],)"
                     R"("networkDevices":[{"attachment":"nat","macAddress":"0a:1b:2c:3d:4e:5f"},)"
                     R"({"attachment":"nat","macAddress":null}],"entropyDevices":1,)"
                     R"("keyboards":["usb"],"pointingDevices":["usb-screen-coordinate"],)"
                     R"("audioDevices":[],"directorySharingDevices":[)"
                     R"({"tag":"one","path":"\/x","readOnly":true},)"
                     R"({"tag":"two","path":"\/y","readOnly":false}]}})"));
}

TEST_F(Trace, HasTheMachinesCallsAlsoTheRefusedOnes) {
  auto machine = host().machines().createMachine(smallest());
  const std::string before = trace();
  machine->start([](auto) {});
  EXPECT_FALSE(machine->requestStop());
  machine->pause([](auto) {});
  machine->resume([](auto) {});
  machine->stop([](auto) {});
  EXPECT_EQ(trace(), before + line("machine.start", "}") + line("machine.requestStop", "}") +
                         line("machine.pause", "}") + line("machine.resume", "}") +
                         line("machine.stop", "}"));
}

TEST_F(Trace, HasNoCallThatOnlyAsks) {
  auto machine = host().machines().createMachine(smallest());
  const std::string before = trace();
  machine->state();
  machine->canPause();
  machine->canResume();
  machine->canRequestStop();
  host().capabilities().limits();
  host().identities().newMachineIdentifier();
  host().machines().openAuxiliaryStorage(path("storage"));
  EXPECT_EQ(trace(), before);
}

TEST_F(Trace, HasTheRestorationsCallsWithThePathAsGiven) {
  auto machine = host().machines().createMachine(emptyGuest());
  const std::string before = trace();
  host().restoration().loadRestoreImage("images/a \xFF.ipsw", [](const auto&) {});
  auto installer = host().restoration().createInstaller(*machine, "images/b");
  installer->install([](auto) {});
  EXPECT_EQ(trace(), before +
                         line("restoreImage.load", ",\"path\":\"images\\/a \xEF\xBF\xBD.ipsw\"}") +
                         line("installer.install", R"(,"path":"images\/b"})"));
}

}  // namespace
}  // namespace parlen::test
