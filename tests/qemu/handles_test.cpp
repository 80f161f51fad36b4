#include "platform/qemu/handles.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/temporary_directory.h"
#include "support/test_system.h"

namespace parlen::qemu {
namespace {

using testing::HasSubstr;

TEST(HardwareModel, IsASmallJsonText) {
  const HardwareModel model({.board = boardFor("x86_64"),
                             .firmware = {.code = "/firmware/code", .variables = "/variables"}});

  EXPECT_EQ(model.dataRepresentation(),
            R"({"architecture":"x86_64","firmware":"\/firmware\/code","machineType":"q35"})");
  EXPECT_TRUE(model.isSupported());
}

TEST(HardwareModel, GivesBackTheBytesThatItWasReadFrom) {
  const std::string bytes =
      R"({ "machineType": "q35", "architecture": "x86_64", "firmware": "ovmf-4m", "more": 1 })";

  const auto model = HardwareModel::parse(bytes, {});

  ASSERT_TRUE(model);
  EXPECT_EQ(model->dataRepresentation(), bytes);
}

TEST(HardwareModel, OfAnotherKindIsUsableButNotSupported) {
  const auto model = HardwareModel::parse(
      R"({"architecture":"s390x","firmware":"none","machineType":"virtio"})", thisHost());

  ASSERT_TRUE(model);
  EXPECT_FALSE(model->isSupported());
}

TEST(HardwareModel, IsNotMadeOfOtherBytes) {
  for (const char* bytes :
       {"", "x86_64", "[]", "{}", R"({"architecture":"x86_64","firmware":"ovmf-4m"})",
        R"({"architecture":1,"firmware":"ovmf-4m","machineType":"q35"})",
        // They would be lines and colours of their own where people read why it is not supported.
        R"({"architecture":"x86_64","firmware":"/x\nparlen-mac-vm: y","machineType":"q35"})",
        R"({"architecture":"x86_64","firmware":"/x","machineType":"q35\u001b[31m"})",
        R"({"architecture":"x86_64\u007f","firmware":"/x","machineType":"q35"})"}) {
    EXPECT_FALSE(HardwareModel::parse(bytes, thisHost())) << bytes;
  }
}

TEST(MachineIdentifier, IsSixteenBytesAndAUuid) {
  Identities identities{[](std::string_view) {}};
  const std::string bytes("\0\x11\x22\x33\x44\x55\x66\x77\x88\x99\xaa\xbb\xcc\xdd\xee\xff", 16);

  const auto identifier = identities.machineIdentifier(bytes);

  ASSERT_TRUE(identifier);
  EXPECT_EQ(identifier->dataRepresentation(), bytes);
  EXPECT_EQ(dynamic_cast<const MachineIdentifier&>(*identifier).uuid(),
            "00112233-4455-6677-8899-aabbccddeeff");
}

TEST(MachineIdentifier, HasNoOtherLength) {
  Identities identities{[](std::string_view) {}};

  EXPECT_FALSE(identities.machineIdentifier(std::string(15, 'x')));
  EXPECT_FALSE(identities.machineIdentifier(std::string(17, 'x')));
}

class Storage : public testing::Test {
 protected:
  platform::Files& files() { return system_.files(); }
  std::string path(const std::string& name) const { return directory_ / name; }

  /// A firmware of the test's own, so that none needs to be installed.
  const Firmware& firmware() {
    firmware_.variables = path("variables");
    std::string volume(1000, '\xff');
    volume.replace(40, 4, "_FVH");
    EXPECT_TRUE(files().replace(firmware_.variables, volume));
    return firmware_;
  }

  /// One whose variable store is zeros until it runs, as that of arm64 is on Debian.
  const Firmware& firmwareWithABlankStore() {
    firmware_.variables = path("variables");
    EXPECT_TRUE(files().replace(firmware_.variables, std::string(blankLength, '\0')));
    return firmware_;
  }
  static constexpr std::size_t blankLength = 1024UL * 1024UL;

 private:
  test::TemporaryDirectory directory_;
  test::TestSystem system_;
  Firmware firmware_;
};

TEST_F(Storage, IsCreatedUnfinished) {
  const Firmware& ours = firmware();

  ASSERT_TRUE(createAuxiliaryStorage(path("aux"), ours));

  const auto checked = checkAuxiliaryStorage(path("aux"), ours);
  ASSERT_FALSE(checked);
  EXPECT_EQ(checked.error().description,
            "the guest's installation was not finished: its auxiliary storage " + path("aux") +
                " is incomplete");
}

TEST_F(Storage, HoldsTheFirmwaresVariablesOnceItIsFinished) {
  const Firmware& ours = firmware();
  ASSERT_TRUE(createAuxiliaryStorage(path("aux"), ours));

  ASSERT_TRUE(setInstallation(Installation::finished, path("aux"), ours));

  EXPECT_EQ(files().read(path("aux")), files().read(path("variables")));
  EXPECT_TRUE(checkAuxiliaryStorage(path("aux"), ours));
}

TEST_F(Storage, MayBeBlankIfTheFirmwaresIs) {
  const Firmware& ours = firmwareWithABlankStore();

  ASSERT_TRUE(createAuxiliaryStorage(path("aux"), ours));
  EXPECT_FALSE(checkAuxiliaryStorage(path("aux"), ours));
  ASSERT_TRUE(setInstallation(Installation::finished, path("aux"), ours));

  EXPECT_TRUE(files().read(path("aux")) == files().read(path("variables")));
  EXPECT_TRUE(checkAuxiliaryStorage(path("aux"), ours));
  struct stat status{};
  ASSERT_EQ(stat(path("aux").c_str(), &status), 0);
  EXPECT_LT(status.st_blocks * 512, 128 * 1024) << "it takes space for zeros";
}

TEST_F(Storage, ThatWasBlankBecomesAVolumeWhenItsGuestRuns) {
  const Firmware& ours = firmwareWithABlankStore();
  std::string used(blankLength, '\0');
  used.replace(16, 28, "volume's kind and length_FVH");
  ASSERT_TRUE(files().replace(path("aux"), used));

  EXPECT_TRUE(checkAuxiliaryStorage(path("aux"), ours));
  ASSERT_TRUE(setInstallation(Installation::unfinished, path("aux"), ours));
  ASSERT_TRUE(setInstallation(Installation::finished, path("aux"), ours));

  EXPECT_TRUE(files().read(path("aux")) == used);
}

TEST_F(Storage, IsDamagedIfItIsBlankAndTheFirmwaresIsNot) {
  const Firmware& ours = firmware();
  ASSERT_TRUE(files().replace(path("aux"), std::string(1000, '\0')));

  EXPECT_FALSE(checkAuxiliaryStorage(path("aux"), ours));
  EXPECT_FALSE(setInstallation(Installation::finished, path("aux"), ours));
}

TEST_F(Storage, KeepsAGuestsVariablesWhenItBecomesUnfinished) {
  const Firmware& ours = firmware();
  std::string used = files().read(path("variables")).value();
  used.replace(100, 8, "variable");
  ASSERT_TRUE(files().replace(path("aux"), used));

  ASSERT_TRUE(setInstallation(Installation::unfinished, path("aux"), ours));
  EXPECT_FALSE(checkAuxiliaryStorage(path("aux"), ours));
  ASSERT_TRUE(setInstallation(Installation::finished, path("aux"), ours));

  EXPECT_EQ(files().read(path("aux")).value(), used);
}

TEST_F(Storage, IsUnfinishedHoweverLittleOfItThereIs) {
  const Firmware& ours = firmware();
  ASSERT_TRUE(createAuxiliaryStorage(path("aux"), ours));
  ASSERT_TRUE(files().setLength(path("aux"), 44));

  const auto checked = checkAuxiliaryStorage(path("aux"), ours);

  ASSERT_FALSE(checked);
  EXPECT_THAT(checked.error().description, HasSubstr("was not finished"));
  EXPECT_FALSE(setInstallation(Installation::finished, path("aux"), ours));
}

TEST_F(Storage, IsNotCreatedOutOfAnythingElse) {
  const Firmware& ours = firmware();
  ASSERT_TRUE(files().replace(path("variables"), std::string(1000, 'x')));

  const auto created = createAuxiliaryStorage(path("aux"), ours);

  ASSERT_FALSE(created);
  EXPECT_THAT(created.error().description, HasSubstr(path("variables") + " is damaged"));
  EXPECT_FALSE(files().exists(path("aux")));
}

TEST_F(Storage, IsNotCreatedOverALink) {
  const Firmware& ours = firmware();
  ASSERT_EQ(symlink("nowhere", path("aux").c_str()), 0);

  const auto created = createAuxiliaryStorage(path("aux"), ours);

  ASSERT_FALSE(created);
  EXPECT_EQ(created.error().description, "could not create " + path("aux") + ": File exists");
}

TEST_F(Storage, OfAnotherLengthOrContentIsDamaged) {
  const Firmware& ours = firmware();
  std::string good = files().read(path("variables")).value();
  std::string withoutSignature = good;
  withoutSignature[40] = 'x';

  for (const std::string& bytes : {std::string(), good.substr(1), good + "x", withoutSignature}) {
    ASSERT_TRUE(files().replace(path("aux"), bytes));
    const auto checked = checkAuxiliaryStorage(path("aux"), ours);
    ASSERT_FALSE(checked);
    EXPECT_THAT(checked.error().description, HasSubstr(path("aux") + " is damaged"));
    EXPECT_FALSE(setInstallation(Installation::finished, path("aux"), ours));
  }
}

TEST_F(Storage, ThatIsMissingIsNamedWithTheReason) {
  const auto checked = checkAuxiliaryStorage(path("aux"), firmware());

  ASSERT_FALSE(checked);
  EXPECT_EQ(checked.error().description,
            "could not open the auxiliary storage " + path("aux") + ": No such file or directory");
}

TEST_F(Storage, AttachesAFileAsADisk) {
  ASSERT_TRUE(files().replace(path("disk"), ""));

  const auto disk = attachDisk(path("disk"), DiskAccess::readWrite);

  ASSERT_TRUE(disk);
  EXPECT_EQ(disk->path(), path("disk"));
  EXPECT_EQ(disk->kind(), DiskKind::file);
}

TEST_F(Storage, RefusesADirectoryAndAFifoAsADisk) {
  ASSERT_EQ(mkfifo(path("fifo").c_str(), 0600), 0);

  EXPECT_FALSE(attachDisk(path(""), DiskAccess::readWrite));
  const auto fifo = attachDisk(path("fifo"), DiskAccess::readWrite);
  ASSERT_FALSE(fifo);
  EXPECT_EQ(fifo.error().description, "could not open the disk image " + path("fifo") +
                                          ": it is neither a file nor a block device");
}

}  // namespace
}  // namespace parlen::qemu
