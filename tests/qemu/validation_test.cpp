#include <gtest/gtest.h>

#include "platform/qemu/capabilities.h"
#include "platform/qemu/identities.h"
#include "platform/qemu/machine_factory.h"
#include "platform/qemu/storage.h"

namespace parlen::qemu {
namespace {

const platform::MachineLimits limits = limitsFor(4, 1024 * mebibyte);

platform::MachineConfiguration valid() {
  platform::MachineConfiguration configuration;
  configuration.hardwareModel =
      std::make_shared<HardwareModel>(*findGuestPlatform("x86_64", "q35", "ovmf-4m"));
  configuration.machineIdentifier = std::make_shared<MachineIdentifier>(MachineIdentifier::Bytes{});
  configuration.auxiliaryStorage = std::make_shared<AuxiliaryStorage>("/aux");
  configuration.cpuCount = 4;
  configuration.memorySize = 1024 * mebibyte;
  return configuration;
}

std::string complaint(const platform::MachineConfiguration& configuration) {
  const auto result = validate(configuration, limits);
  return result ? "" : result.error().description;
}

TEST(Limits, FollowTheHostsResources) {
  EXPECT_EQ(limits.minimumCPUCount, 1);
  EXPECT_EQ(limits.maximumCPUCount, 4);
  EXPECT_EQ(limits.minimumMemorySize, 128 * mebibyte);
  EXPECT_EQ(limits.maximumMemorySize, 1024 * mebibyte);
}

TEST(Limits, LeaveRoomForADefaultGuestOnASmallHost) {
  const auto small = limitsFor(1, mebibyte);

  EXPECT_EQ(small.maximumCPUCount, 2);
  EXPECT_EQ(small.maximumMemorySize, small.minimumMemorySize);
}

TEST(Limits, AreWholeMebibytesAndWhatTheBoardCanHave) {
  const auto large = limitsFor(1000, 5 * 1024 * mebibyte - 1);

  EXPECT_EQ(large.maximumCPUCount, 255);
  EXPECT_EQ(large.maximumMemorySize, (5 * 1024 - 1) * mebibyte);
}

TEST(Validation, AcceptsAMachineWithinTheLimits) { EXPECT_EQ(complaint(valid()), ""); }

TEST(Validation, NamesTheNumberThatIsOutOfRange) {
  auto configuration = valid();
  configuration.cpuCount = 5;
  EXPECT_EQ(complaint(configuration), "the CPU count 5 is not between 1 and 4");

  configuration.cpuCount = -1;
  EXPECT_EQ(complaint(configuration), "the CPU count -1 is not between 1 and 4");

  configuration = valid();
  configuration.memorySize = 1;
  EXPECT_EQ(complaint(configuration),
            "the memory size 1 is not between 134217728 and 1073741824 bytes");
}

TEST(Validation, RefusesAFractionOfAMebibyte) {
  auto configuration = valid();
  configuration.memorySize = 200 * mebibyte + 4096;

  EXPECT_EQ(complaint(configuration), "the memory size 209719296 is no multiple of 1 MiB");
}

TEST(Validation, RefusesAMulticastAddress) {
  auto configuration = valid();
  configuration.networkDevices = {{.attachment = platform::NetworkAttachment::nat,
                                   .macAddress = platform::parseMacAddress("03:00:00:00:00:01")}};

  EXPECT_EQ(complaint(configuration), "the MAC address 03:00:00:00:00:01 is a multicast address");
}

TEST(Validation, RefusesWhatIsNotOfThisHost) {
  auto configuration = valid();
  configuration.hardwareModel =
      HardwareModel::parse(R"({"architecture":"s390x","firmware":"none","machineType":"virtio"})");
  EXPECT_EQ(complaint(configuration), "the configuration has no hardware model of this host");

  configuration = valid();
  configuration.machineIdentifier = nullptr;
  EXPECT_EQ(complaint(configuration), "the configuration has no machine identifier of this host");

  configuration = valid();
  configuration.auxiliaryStorage = nullptr;
  EXPECT_EQ(complaint(configuration), "the configuration has no auxiliary storage of this host");

  configuration = valid();
  configuration.storageDevices = {{nullptr}};
  EXPECT_EQ(complaint(configuration), "the configuration has a disk that is not of this host");
}

TEST(Validation, RefusesASecondDisplayAndATagThatDoesNotFit) {
  auto configuration = valid();
  configuration.graphicsDevices = {{.displays = {{}, {}}}};
  EXPECT_EQ(complaint(configuration), "this host gives a guest one display at most");

  configuration = valid();
  configuration.directorySharingDevices = {
      {.tag = std::string(32, 'x'), .path = "/", .access = platform::ShareAccess::readOnly}};
  EXPECT_NE(complaint(configuration), "");
}

}  // namespace
}  // namespace parlen::qemu
