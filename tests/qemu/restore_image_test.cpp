#include <gmock/gmock.h>
#include <sys/stat.h>

#include <random>
#include <string>
#include <vector>

#include "host_fixture.h"
#include "support/environment_variable.h"

namespace parlen::qemu {
namespace {

using test::MachineStory;
using testing::EndsWith;
using testing::HasSubstr;

class RestoreImageTest : public HostTest {
 protected:
  using Loaded = platform::Result<std::shared_ptr<const platform::RestoreImage>>;

  Loaded load(const std::string& name) {
    std::optional<Loaded> result;
    host().restoration().loadRestoreImage(path(name),
                                          [&](Loaded loaded) { result = std::move(loaded); });
    runUntil([&] { return result.has_value(); });
    return *result;
  }
  /// The error of loading an image; empty if there is none.
  std::string errorOf(const std::string& name) {
    const Loaded loaded = load(name);
    return loaded ? "" : loaded.error().description;
  }
  std::string sentence(const std::string& name, const std::string& end) const {
    return "the restore image " + path(name) + " " + end;
  }
  /// A raw disk with a boot signature and some data, of 4 MiB.
  void makeRawDisk(const std::string& name) {
    constexpr std::size_t length = 4UL * 1024UL * 1024UL;
    std::string disk(length, '\0');
    disk.replace(510, 2, "\x55\xaa");
    disk.replace(length / 2, 100, std::string(100, 'x'));
    ASSERT_TRUE(files().replace(path(name), disk));
  }
  /// A partition table in block 1 whose last usable block is number 0x1fde, 33 before the end:
  /// these hold the copy of the table.
  static constexpr std::size_t usable = 0x1fdfUL * 512UL;
  static std::string diskWithPartitionTable() {
    std::string disk(usable + 33UL * 512UL, '\0');
    disk.replace(512, 8, "EFI PART").replace(560, 2, "\xde\x1f");
    return disk;
  }
  platform::Result<> install(const platform::RestoreImage& image, const std::string& guest) {
    return install(image, guest, makeGuest(guest));
  }
  platform::Result<> install(const platform::RestoreImage& image, const std::string& guest,
                             const platform::MachineConfiguration& configuration) {
    const auto machine = host().machines().createMachine(configuration);
    EXPECT_TRUE(files().setLength(path(guest + "/disk"), 8UL * 1024UL * 1024UL));
    const auto installer = host().restoration().createInstaller(*machine, image);
    std::optional<platform::Result<>> result;
    installer->install([&](platform::Result<> installed) { result = std::move(installed); });
    runUntil([&] { return result.has_value(); });
    return *result;
  }
};

TEST_F(RestoreImageTest, MayBeOfAnyFormatThatIsCompleteInItself) {
  makeRawDisk("raw");
  for (const std::string format : {"qcow2", "vmdk", "vdi", "vhdx", "vpc", "qcow", "qed"}) {
    shell("qemu-img convert -f raw -O " + format + " raw " + format);

    const Loaded image = load(format);
    ASSERT_TRUE(image) << image.error().description;
    const auto installed = install(**image, "guest-" + format);

    EXPECT_TRUE(installed) << installed.error().description;
    const std::string disk = files().read(path("guest-" + format + "/disk")).value();
    EXPECT_EQ(disk.substr(0, 4UL * 1024UL * 1024UL), files().read(path("raw")).value()) << format;
  }
}

TEST_F(RestoreImageTest, NeedsNothingInParticular) {
  makeRawDisk("raw");

  const auto needs = load("raw").value()->mostFeaturefulSupportedConfiguration();

  ASSERT_TRUE(needs);
  EXPECT_EQ(needs->minimumCPUCount, 1);
  EXPECT_EQ(needs->minimumMemorySize, 0U);
}

TEST_F(RestoreImageTest, IsADiskAndNotJustAnyFile) {
  ASSERT_TRUE(files().replace(path("text"), std::string(5000, 'x')));
  ASSERT_TRUE(files().replace(path("nothing"), ""));

  EXPECT_EQ(errorOf("text"), sentence("text", "is not a disk image"));
  EXPECT_EQ(errorOf("nothing"), sentence("nothing", "is empty"));
}

TEST_F(RestoreImageTest, IsAFileThatCanBeRead) {
  ASSERT_TRUE(files().createDirectories(path("folder")));
  ASSERT_EQ(mkfifo(path("fifo").c_str(), 0600), 0);

  EXPECT_EQ(errorOf("missing"),
            "could not read the restore image " + path("missing") + ": No such file or directory");
  EXPECT_EQ(errorOf("folder"),
            "could not read the restore image " + path("folder") + ": Is a directory");
  EXPECT_EQ(errorOf("fifo"),
            "could not read the restore image " + path("fifo") + ": it is not a file");
}

TEST_F(RestoreImageTest, DoesNotReachOtherFiles) {
  shell("qemu-img create -f qcow2 base 1M");
  shell("qemu-img create -f qcow2 -b base -F qcow2 overlay");
  shell("qemu-img create -f qcow2 -o data_file=data.raw split 1M");
  shell("qemu-img create -f vmdk -o subformat=monolithicFlat flat.vmdk 1M");
  shell(
      "qemu-img create -f vmdk base.vmdk 1M && "
      "qemu-img create -f vmdk -b base.vmdk -F vmdk overlay.vmdk");
  shell("qemu-img create -f qed base.qed 1M && qemu-img create -f qed -b base.qed -F qed over.qed");

  EXPECT_EQ(errorOf("overlay"), sentence("overlay", "needs a backing file"));
  EXPECT_EQ(errorOf("split"), sentence("split", "keeps its data in another file"));
  EXPECT_EQ(errorOf("flat.vmdk"),
            sentence("flat.vmdk", "is a VMDK descriptor, which names other files"));
  EXPECT_EQ(errorOf("overlay.vmdk"), sentence("overlay.vmdk", "needs a backing file"));
  EXPECT_EQ(errorOf("over.qed"), sentence("over.qed", "needs a backing file"));
}

TEST_F(RestoreImageTest, IsWhole) {
  makeRawDisk("raw");
  shell("qemu-img convert -f raw -O qcow2 raw whole && head -c 270000 whole > truncated");

  EXPECT_THAT(errorOf("truncated"), HasSubstr(sentence("truncated", "is damaged: ")));
}

TEST_F(RestoreImageTest, IsWholeInAFormatWhoseCheckDoesNotLook) {
  makeRawDisk("raw");
  shell("head -c 3000000 /dev/urandom | dd of=raw bs=1M seek=1 conv=notrunc status=none");
  for (const std::string format : {"vdi", "qcow"}) {
    shell("qemu-img convert -f raw -O " + format + " raw whole." + format +
          " && truncate -s -1500000 whole." + format + " && qemu-img convert -f raw -O " + format +
          " raw good." + format);

    EXPECT_THAT(errorOf("whole." + format), HasSubstr("is damaged: ")) << format;
    EXPECT_EQ(errorOf("good." + format), "") << format;
  }
}

TEST_F(RestoreImageTest, HasAllBlocksThatItsPartitionTableNames) {
  const std::string disk = diskWithPartitionTable();
  ASSERT_TRUE(files().replace(path("whole"), disk));
  ASSERT_TRUE(files().replace(path("without the copy"), disk.substr(0, usable)));
  ASSERT_TRUE(files().replace(path("cut"), disk.substr(0, usable - 1)));

  EXPECT_EQ(errorOf("whole"), "");
  EXPECT_EQ(errorOf("without the copy"), "");
  EXPECT_EQ(errorOf("cut"), sentence("cut", "is damaged: the end of its data is missing"));
}

TEST_F(RestoreImageTest, IsNotMadeOfADiskWithoutItsEnd) {
  const std::string disk = diskWithPartitionTable();
  ASSERT_TRUE(files().replace(path("whole"), disk));
  ASSERT_TRUE(files().replace(path("cut"), disk.substr(0, usable / 2)));
  for (const std::string format : {"qcow2", "vmdk", "vdi", "vhdx", "qcow", "qed"}) {
    for (const std::string name : {"whole", "cut"}) {
      shell("qemu-img convert -f raw -O " + format + " " + name + " " + name + "." + format);
    }

    EXPECT_EQ(errorOf("whole." + format), "");
    EXPECT_EQ(errorOf("cut." + format),
              sentence("cut." + format, "is damaged: the end of its data is missing"));
  }
}

/// Images that qemu-img makes out of `raw`.
struct ImageKind {
  std::string name;
  std::string format;
  std::string commands;  // make `image`

  friend void PrintTo(const ImageKind& kind, std::ostream* out) { *out << kind.name; }
};

class CutImageTest : public RestoreImageTest, public testing::WithParamInterface<ImageKind> {
 protected:
  void SetUp() override {
    RestoreImageTest::SetUp();
    if (IsSkipped()) return;
    makeRawDisk("raw");
    // What cannot be compressed, and what can.
    shell("head -c 300000 /dev/urandom | dd of=raw bs=64K seek=20 conv=notrunc status=none");
    shell("yes compressible | head -c 192K | dd of=raw bs=64K seek=30 conv=notrunc status=none");
    shell(GetParam().commands);
    shell("qemu-img convert -f " + GetParam().format + " -O raw image contents");
  }
  /// Whether the image has been written to a guest's disk as it was before it was cut.
  bool isInstalledWhole(const platform::RestoreImage& image, const std::string& guest) {
    const auto result = install(image, guest);
    EXPECT_TRUE(result) << result.error().description;
    return files()
        .read(path(guest + "/disk"))
        .value()
        .starts_with(files().read(path("contents")).value());
  }
};

TEST_P(CutImageTest, IsNeverInstalledWithoutItsEnd) {
  const Loaded whole = load("image");
  ASSERT_TRUE(whole) << whole.error().description;
  EXPECT_TRUE(isInstalledWhole(**whole, "guest"));
  const std::string image = files().read(path("image")).value();
  std::minstd_rand random;  // the same numbers each time
  std::vector<std::size_t> cuts{1, 512, 4096, 65536};
  for (int i = 0; i < 6; ++i) cuts.push_back(1 + random() % (image.size() - 1));

  for (const std::size_t cut : cuts) {
    const std::string name = "without " + std::to_string(cut);
    ASSERT_TRUE(files().replace(path(name), image.substr(0, image.size() - cut)));
    const Loaded loaded = load(name);
    if (loaded) {
      EXPECT_TRUE(isInstalledWhole(**loaded, "guest " + name)) << name;
    } else {
      EXPECT_THAT(loaded.error().description,
                  testing::ContainsRegex("is damaged: |cannot be (read|checked): "));
    }
  }
}

std::string convert(const std::string& options) {
  return "qemu-img convert -f raw " + options + " raw image";
}

INSTANTIATE_TEST_SUITE_P(
    , CutImageTest,
    testing::Values(
        ImageKind{"Plain", "qcow2", convert("-O qcow2")},
        ImageKind{"Compressed", "qcow2", convert("-c -O qcow2")},
        ImageKind{"CompressedWithZstd", "qcow2", convert("-c -O qcow2 -o compression_type=zstd")},
        ImageKind{"WithMetadata", "qcow2", convert("-O qcow2 -o preallocation=metadata")},
        ImageKind{"Preallocated", "qcow2", convert("-O qcow2 -o preallocation=full")},
        ImageKind{"WithSmallClusters", "qcow2", convert("-O qcow2 -o cluster_size=4096")},
        ImageKind{"WithSubclusters", "qcow2", convert("-O qcow2 -o extended_l2=on")},
        ImageKind{"OfTheFirstVersion", "qcow2", convert("-O qcow2 -o compat=0.10")},
        ImageKind{"WithSnapshots", "qcow2",
                  convert("-c -O qcow2") + " && qemu-img snapshot -c one image && "
                                           "qemu-io -f qcow2 -c 'write -P 7 1M 200k' image && "
                                           "qemu-img snapshot -c two image"},
        ImageKind{"Grown", "qcow2",
                  convert("-O qcow2 -o cluster_size=512") +
                      " && qemu-img resize -f qcow2 image 8M && "
                      "qemu-io -f qcow2 -c 'write 7M 1k' image"},
        ImageKind{"Shrunk", "qcow2",
                  convert("-O qcow2") + " && qemu-img resize -f qcow2 --shrink image 2100224"},
        ImageKind{"Qed", "qed", convert("-O qed")},
        ImageKind{"GrownQed", "qed",
                  convert("-O qed") + " && qemu-img resize -f qed image 8M && "
                                      "qemu-io -f qed -c 'write 7M 1k' image"}),
    [](const testing::TestParamInfo<ImageKind>& kind) { return kind.param.name; });

TEST_F(RestoreImageTest, WithABrokenHeaderIsRefusedWithAReason) {
  ASSERT_TRUE(files().replace(path("broken"),
                              "QFI\xfb" + std::string("\0\0\0\3", 4) + std::string(100, '\0')));

  EXPECT_THAT(errorOf("broken"), HasSubstr(sentence("broken", "cannot be read: ")));
}

TEST_F(RestoreImageTest, MayHaveANameThatLooksLikeAnOption) {
  for (const std::string name : {"-f", "a,b=c", "json:{}", "nbd:localhost:1", "with space"}) {
    makeRawDisk(name);

    const Loaded image = load(name);
    ASSERT_TRUE(image) << image.error().description;
    EXPECT_TRUE(install(**image, "guest of " + name)) << name;
  }
}

TEST_F(RestoreImageTest, IsInstalledOnlyAsItWasExamined) {
  makeRawDisk("raw");
  const Loaded image = load("raw");
  ASSERT_TRUE(image) << image.error().description;
  ASSERT_TRUE(files().replace(path("raw"), "QFI\xfb"));

  EXPECT_THAT(install(**image, "late").error().description,
              EndsWith("has changed since it was examined"));
}

TEST_F(RestoreImageTest, IsNotInstalledIfAnotherOneTakesItsPlaceMeanwhile) {
  makeRawDisk("raw");
  makeRawDisk("other");
  const Loaded image = load("raw");
  ASSERT_TRUE(image) << image.error().description;
  shell(
      "mkdir bin && printf '#!/bin/sh\\nmv other raw\\nexec /usr/bin/qemu-img \"$@\"\\n' "
      ">bin/qemu-img && sed -i \"s|mv other raw|mv $PWD/other $PWD/raw|\" bin/qemu-img && "
      "chmod +x bin/qemu-img");
  const test::PathVariable searchPath(path("bin") + ":/usr/bin:/bin");

  EXPECT_THAT(install(**image, "guest").error().description,
              EndsWith("has changed since it was examined"));
}

TEST_F(RestoreImageTest, LeavesAnUnfinishedGuestIfItsInstallationIsCutOff) {
  makeRawDisk("raw");
  const Loaded image = load("raw");
  ASSERT_TRUE(image) << image.error().description;
  const auto configuration = makeGuest("guest");
  shell(
      "mkdir bin && printf '#!/bin/sh\\nkill -KILL $$\\n' >bin/qemu-img && chmod +x bin/qemu-img");
  {
    const test::PathVariable searchPath(path("bin") + ":/usr/bin:/bin");
    EXPECT_THAT(install(**image, "guest", configuration).error().description,
                EndsWith("it was ended by signal 9 (Killed)"));
  }

  MachineStory story;
  const auto machine = machineOf(configuration, story);
  machine->start(story.tell("start"));
  runUntil([&] { return !story.happened.empty(); });
  EXPECT_THAT(story.happened, testing::ElementsAre("start failed"));
  EXPECT_THAT(story.lastError, HasSubstr("installation was not finished"));

  EXPECT_TRUE(install(**image, "guest", configuration));
  const auto repaired = machineOf(configuration, story);
  repaired->start(story.tell("started"));
  runUntil([&] { return story.has("started"); });
}

TEST_F(RestoreImageTest, IsNotInstalledOnADiskInUse) {
  makeRawDisk("raw");
  const Loaded image = load("raw");
  ASSERT_TRUE(image) << image.error().description;
  MachineStory story;
  const auto machine = runningMachine(story);
  auto configuration = makeGuest("other");
  configuration.storageDevices = {
      {host().machines().attachDisk(path("guest/disk"), false).value()}};

  EXPECT_EQ(install(**image, "other", configuration).error().description,
            "could not write the restore image " + path("raw") + " to " + path("guest/disk") +
                ": the guest is in use by another process");
}

TEST_F(RestoreImageTest, IsNotReadWhileAGuestUsesIt) {
  makeRawDisk("raw");
  shell("qemu-img convert -f raw -O qcow2 raw image");
  const Loaded image = load("image");
  ASSERT_TRUE(image) << image.error().description;
  auto configuration = makeGuest("guest");
  const auto other = makeGuest("other");
  configuration.storageDevices = {{host().machines().attachDisk(path("image"), false).value()}};
  MachineStory story;
  const auto machine = machineOf(configuration, story);
  machine->start(story.tell("started"));
  runUntil([&] { return story.has("started"); });

  EXPECT_EQ(errorOf("image"), sentence("image", "cannot be read: another process uses it"));
  EXPECT_THAT(install(**image, "other", other).error().description,
              EndsWith(": another process uses the restore image"));
}

TEST_F(RestoreImageTest, IsWhatAGuestNeedsToStart) {
  auto configuration = makeGuest("guest");
  const auto& model = static_cast<const HardwareModel&>(*configuration.hardwareModel);
  configuration.auxiliaryStorage =
      host().machines().createAuxiliaryStorage(path("new"), model).value();
  MachineStory story;
  const auto machine = machineOf(configuration, story);

  machine->start(story.tell("start"));

  runUntil([&] { return !story.happened.empty(); });
  EXPECT_THAT(story.happened, testing::ElementsAre("start failed"));
  EXPECT_EQ(story.lastError, "the guest's installation was not finished: its auxiliary storage " +
                                 path("new") + " is incomplete");
}

TEST_F(RestoreImageTest, KeepsTheHolesOfTheDisk) {
  makeRawDisk("raw");
  const Loaded image = load("raw");
  ASSERT_TRUE(image) << image.error().description;

  ASSERT_TRUE(install(**image, "guest"));

  struct stat status{};
  ASSERT_EQ(stat(path("guest/disk").c_str(), &status), 0);
  EXPECT_EQ(status.st_size, 8 * 1024 * 1024);
  EXPECT_LT(status.st_blocks * 512, 1024 * 1024);
}

}  // namespace
}  // namespace parlen::qemu
