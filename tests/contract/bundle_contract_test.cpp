#include <gmock/gmock.h>

#include "contract/contract.h"

namespace parlen::test {
namespace {

using testing::HasSubstr;

using BundleContract = Contract;
INSTANTIATE_TEST_SUITE_P(Hosts, BundleContract, testing::ValuesIn(allHosts()), nameOf);

TEST_P(BundleContract, ReadsAHardwareModelBackFromItsBytes) {
  const auto model = hardwareModel();
  EXPECT_TRUE(model->isSupported());

  const auto again = host().identities().hardwareModel(model->dataRepresentation());

  ASSERT_TRUE(again);
  EXPECT_TRUE(again->isSupported());
  EXPECT_EQ(again->dataRepresentation(), model->dataRepresentation());
}

TEST_P(BundleContract, ReadsAMachineIdentifierBackFromItsBytes) {
  const auto identifier = host().identities().newMachineIdentifier();
  const auto other = host().identities().newMachineIdentifier();

  const auto again = host().identities().machineIdentifier(identifier->dataRepresentation());

  ASSERT_TRUE(again);
  EXPECT_EQ(again->dataRepresentation(), identifier->dataRepresentation());
  EXPECT_NE(other->dataRepresentation(), identifier->dataRepresentation());
}

TEST_P(BundleContract, RejectsBytesThatAreNoIdentity) {
  for (const std::string bytes : {"", "garbage", "{}"}) {
    EXPECT_FALSE(host().identities().hardwareModel(bytes)) << bytes;
    EXPECT_FALSE(host().identities().machineIdentifier(bytes)) << bytes;
  }
}

TEST_P(BundleContract, MakesRandomLocallyAdministeredAddresses) {
  const auto address = host().identities().randomMacAddress();

  EXPECT_EQ(address.octets[0] & 3U, 2U);
  EXPECT_NE(address, host().identities().randomMacAddress());
}

TEST_P(BundleContract, DoesNotOverwriteAFileWithAuxiliaryStorage) {
  const auto model = hardwareModel();
  ASSERT_TRUE(files().replace(path("aux"), "precious"));

  const auto created = host().machines().createAuxiliaryStorage(path("aux"), *model);

  ASSERT_FALSE(created);
  EXPECT_THAT(created.error().description, NamesFile(path("aux")));
  EXPECT_EQ(files().read(path("aux")), "precious");
}

TEST_P(BundleContract, OpensAuxiliaryStorageWithoutReadingIt) {
  EXPECT_TRUE(host().machines().openAuxiliaryStorage(path("nothing here")));
}

TEST_P(BundleContract, NamesTheDiskThatItCannotAttach) {
  const auto attached = host().machines().attachDisk(path("nothing here"), false);

  ASSERT_FALSE(attached);
  EXPECT_THAT(attached.error().description, NamesFile(path("nothing here")));
}

TEST_P(BundleContract, RejectsProcessorsAndMemoryOutsideItsLimits) {
  Guest guest = emptyGuest("guest", smallDisk);
  const auto limits = host().capabilities().limits();
  const auto isValid = [&](std::int64_t cpus, std::uint64_t memory) {
    guest.configuration.cpuCount = cpus;
    guest.configuration.memorySize = memory;
    return host().machines().validate(guest.configuration).has_value();
  };

  EXPECT_TRUE(isValid(limits.minimumCPUCount, limits.minimumMemorySize));
  EXPECT_TRUE(isValid(limits.maximumCPUCount, limits.maximumMemorySize));
  EXPECT_FALSE(isValid(limits.minimumCPUCount - 1, limits.minimumMemorySize));
  EXPECT_FALSE(isValid(limits.maximumCPUCount + 1, limits.minimumMemorySize));
  EXPECT_FALSE(isValid(limits.minimumCPUCount, limits.minimumMemorySize - 1));
  EXPECT_FALSE(isValid(limits.minimumCPUCount, limits.maximumMemorySize + 1));
}

TEST_P(BundleContract, HasLimitsWithRoomForADefaultGuest) {
  const auto limits = host().capabilities().limits();

  EXPECT_GE(host().capabilities().processorCount(), 1);
  EXPECT_GE(limits.minimumCPUCount, 1);
  EXPECT_LE(limits.minimumCPUCount, limits.maximumCPUCount);
  EXPECT_LE(limits.minimumMemorySize, limits.maximumMemorySize);
  EXPECT_FALSE(host().machines().automountTag().empty());
}

}  // namespace
}  // namespace parlen::test
