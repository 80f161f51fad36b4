#include "host_fixture.h"

#include <unistd.h>

#include <cstdlib>
#include <fstream>

#include "support/run_until.h"

namespace parlen::qemu {

void HostTest::SetUp() {
  if (!host_.capabilities().isSupported()) GTEST_SKIP() << "this machine runs no guests";
}

void HostTest::runUntil(const std::function<bool()>& condition) {
  ASSERT_TRUE(test::runUntil(loop(), condition)) << "waited too long";
}

platform::MachineConfiguration HostTest::makeGuest(const std::string& folder) {
  constexpr std::uint64_t diskLength = 1024UL * 1024UL;
  const std::string root = path(folder);
  EXPECT_TRUE(files().createDirectories(root));
  EXPECT_TRUE(files().create(root + "/disk", ""));
  EXPECT_TRUE(files().setLength(root + "/disk", diskLength));

  const auto model = std::make_shared<HardwareModel>(newGuestPlatform(thisHost()).value());
  platform::MachineConfiguration configuration;
  configuration.hardwareModel = model;
  configuration.machineIdentifier = host_.identities().newMachineIdentifier();
  configuration.auxiliaryStorage =
      host_.machines().createAuxiliaryStorage(root + "/aux", *model).value();
  EXPECT_TRUE(setInstallation(Installation::finished, root + "/aux", model->platform()->firmware));
  configuration.cpuCount = 1;
  configuration.memorySize = 128 * mebibyte;
  configuration.storageDevices = {{host_.machines().attachDisk(root + "/disk", false).value()}};
  return configuration;
}

std::unique_ptr<platform::VirtualMachine> HostTest::machineOf(
    const platform::MachineConfiguration& configuration, test::MachineStory& story) {
  auto machine = host_.machines().createMachine(configuration);
  machine->setDelegate(&story);
  return machine;
}

std::unique_ptr<platform::VirtualMachine> HostTest::runningMachine(test::MachineStory& story) {
  auto machine = machineOf(makeGuest("guest"), story);
  machine->start(story.tell("started"));
  runUntil([&] { return !story.happened.empty(); });
  EXPECT_TRUE(story.has("started")) << story.lastError;
  return machine;
}

void HostTest::shell(const std::string& command) {
  const std::string script = "cd " + path("") + " && exec >/dev/null 2>&1 && " + command;
  ASSERT_EQ(std::system(script.c_str()), 0) << command;
}

std::vector<int> childrenOf(int pid) {
  const std::string number = std::to_string(pid);
  std::ifstream list("/proc/" + number + "/task/" + number + "/children");
  std::vector<int> pids;
  for (int child = 0; list >> child;) pids.push_back(child);
  return pids;
}

std::vector<int> children() { return childrenOf(::getpid()); }

}  // namespace parlen::qemu
