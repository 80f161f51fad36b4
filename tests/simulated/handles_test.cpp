#include <set>

#include "simulated/fixture.h"

namespace parlen::test {
namespace {

using Identities = HostTest;

const std::string modelPrefix = "parlen-simulated-hardware-model:";
const std::string identifierPrefix = "parlen-simulated-machine-identifier:";

TEST_F(Identities, ReadsAHardwareModelBack) {
  const auto model = host().identities().hardwareModel(modelPrefix + "sim-1");
  ASSERT_TRUE(model);
  EXPECT_EQ(model->dataRepresentation(), modelPrefix + "sim-1");
}

TEST_F(Identities, SupportsTheHostsModelsOnly) {
  useScenario(R"({"host":{"hardwareModels":["a","b"]}})");
  auto& identities = host().identities();
  EXPECT_TRUE(identities.hardwareModel(modelPrefix + "b")->isSupported());
  EXPECT_FALSE(identities.hardwareModel(modelPrefix + "sim-1")->isSupported());
}

TEST_F(Identities, TakesNoOtherBytesForAHardwareModel) {
  for (const std::string& bytes :
       {std::string(), std::string("sim-1"), modelPrefix, modelPrefix + "sim-1\n",
        " " + modelPrefix + "sim-1", identifierPrefix + "sim-1"}) {
    EXPECT_FALSE(host().identities().hardwareModel(bytes)) << bytes;
  }
}

TEST_F(Identities, ReadsAMachineIdentifierBack) {
  const std::string bytes = identifierPrefix + "0123456789abcdef0123456789abcdef";
  const auto identifier = host().identities().machineIdentifier(bytes);
  ASSERT_TRUE(identifier);
  EXPECT_EQ(identifier->dataRepresentation(), bytes);
}

TEST_F(Identities, TakesNoOtherBytesForAMachineIdentifier) {
  const std::string digits = "0123456789abcdef0123456789abcdef";
  for (const std::string& bytes :
       {std::string(), digits, identifierPrefix, identifierPrefix + digits + "0",
        identifierPrefix + digits + "\n", identifierPrefix + digits.substr(1),
        identifierPrefix + "0123456789ABCDEF0123456789ABCDEF", modelPrefix + digits}) {
    EXPECT_FALSE(host().identities().machineIdentifier(bytes)) << bytes;
  }
}

TEST_F(Identities, MakesIdentifiersThatDifferAndAreItsOwn) {
  std::set<std::string> seen;
  for (int i = 0; i < 20; ++i) {
    const std::string bytes = host().identities().newMachineIdentifier()->dataRepresentation();
    EXPECT_TRUE(host().identities().machineIdentifier(bytes)) << bytes;
    seen.insert(bytes);
  }
  EXPECT_EQ(seen.size(), 20U);
}

TEST_F(Identities, MakesDifferentLocallyAdministeredAddresses) {
  std::set<std::string> seen;
  for (int i = 0; i < 20; ++i) {
    const auto address = host().identities().randomMacAddress();
    EXPECT_EQ(address.octets[0] & 3U, 2U) << toString(address);
    seen.insert(toString(address));
  }
  EXPECT_EQ(seen.size(), 20U);
}

}  // namespace
}  // namespace parlen::test
