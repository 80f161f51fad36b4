#include "simulated/host_fixture.h"

#include "platform/simulated/host.h"

namespace parlen::test {

void SimulatedHostTest::useScenario(const std::string& json) {
  write("scenario.json", json);
  auto made = simulated::makeHost(system_, {path("scenario.json"), path("trace")});
  ASSERT_TRUE(made) << made.error();
  host_ = std::move(*made);
}

platform::Host& SimulatedHostTest::host() {
  if (!host_) useScenario("{}");
  return *host_;
}

platform::MachineConfiguration SimulatedHostTest::emptyGuest(std::uint64_t length) {
  platform::MachineConfiguration guest;
  guest.hardwareModel = host().identities().hardwareModel("parlen-simulated-hardware-model:sim-1");
  guest.machineIdentifier = host().identities().machineIdentifier(
      "parlen-simulated-machine-identifier:0123456789abcdef0123456789abcdef");
  write("AuxiliaryStorage", "parlen-simulated-auxiliary-storage:sim-1");
  guest.auxiliaryStorage = host().machines().openAuxiliaryStorage(path("AuxiliaryStorage"));
  guest.bootLoader = platform::BootLoader::macOS;
  guest.cpuCount = 4;
  guest.memorySize = 4294967296;
  write("Disk.img", std::string(length, '\0'));
  guest.storageDevices = {{*host().machines().attachDisk(path("Disk.img"), false)}};
  return guest;
}

platform::MachineConfiguration SimulatedHostTest::installedGuest() {
  auto guest = emptyGuest();
  EXPECT_TRUE(system_.files().writeStart(path("Disk.img"), "parlen-simulated-guest"));
  return guest;
}

void SimulatedHostTest::write(const std::string& name, const std::string& bytes) {
  const auto written = system_.files().write(path(name), bytes);
  ASSERT_TRUE(written) << written.error().description;
}

std::string SimulatedHostTest::read(const std::string& name) {
  return system_.files().read(path(name)).value_or("(unreadable)");
}

long long SimulatedHostTest::milliseconds() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(system_.loop().now() - start_)
      .count();
}

}  // namespace parlen::test
