#include "platform/qemu/identities.h"

#include <gtest/gtest.h>

namespace parlen::qemu {
namespace {

constexpr const char* knownModel =
    R"({"architecture":"x86_64","firmware":"ovmf-4m","machineType":"q35"})";

TEST(HardwareModel, IsASmallJsonText) {
  const HardwareModel model(*findGuestPlatform("x86_64", "q35", "ovmf-4m"));

  EXPECT_EQ(model.dataRepresentation(), knownModel);
}

TEST(HardwareModel, GivesBackTheBytesThatItWasReadFrom) {
  const std::string bytes =
      R"({ "machineType": "q35", "architecture": "x86_64", "firmware": "ovmf-4m", "more": 1 })";

  const auto model = HardwareModel::parse(bytes);

  ASSERT_TRUE(model);
  EXPECT_EQ(model->dataRepresentation(), bytes);
  EXPECT_EQ(model->platform(), findGuestPlatform("x86_64", "q35", "ovmf-4m"));
}

TEST(HardwareModel, OfAnotherKindIsUsableButNotSupported) {
  const auto model =
      HardwareModel::parse(R"({"architecture":"s390x","firmware":"none","machineType":"virtio"})");

  ASSERT_TRUE(model);
  EXPECT_FALSE(model->isSupported());
}

TEST(HardwareModel, IsNotMadeOfOtherBytes) {
  for (const char* bytes :
       {"", "x86_64", "[]", "{}", R"({"architecture":"x86_64","firmware":"ovmf-4m"})",
        R"({"architecture":1,"firmware":"ovmf-4m","machineType":"q35"})"}) {
    EXPECT_FALSE(HardwareModel::parse(bytes)) << bytes;
  }
}

TEST(MachineIdentifier, IsSixteenBytesAndAUuid) {
  Identities identities;
  const std::string bytes("\0\x11\x22\x33\x44\x55\x66\x77\x88\x99\xaa\xbb\xcc\xdd\xee\xff", 16);

  const auto identifier = identities.machineIdentifier(bytes);

  ASSERT_TRUE(identifier);
  EXPECT_EQ(identifier->dataRepresentation(), bytes);
  EXPECT_EQ(dynamic_cast<const MachineIdentifier&>(*identifier).uuid(),
            "00112233-4455-6677-8899-aabbccddeeff");
}

TEST(MachineIdentifier, HasNoOtherLength) {
  Identities identities;

  EXPECT_FALSE(identities.machineIdentifier(std::string(15, 'x')));
  EXPECT_FALSE(identities.machineIdentifier(std::string(17, 'x')));
}

}  // namespace
}  // namespace parlen::qemu
