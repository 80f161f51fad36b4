#include "contract/contract.h"

#include <algorithm>
#include <utility>

#include "support/run_until.h"

namespace parlen::test {

using platform::Result;

void Contract::SetUp() {
  host_ = GetParam().make();
  if (!host().capabilities().isSupported()) GTEST_SKIP() << "this machine runs no guests";
}

void Contract::runUntil(const std::function<bool()>& condition, const char* what) {
  ASSERT_TRUE(test::runUntil(loop(), condition)) << "waited too long: " << what;
}

void Contract::runAWhile() {
  int iterations = 20;
  runUntil([&iterations] { return --iterations == 0; }, "some loop iterations");
}

std::string Contract::smallRestoreImage() {
  std::string image = path("small-image");
  EXPECT_TRUE(files().replace(image, underTest().smallRestoreImage()));
  return image;
}

Contract::Loaded Contract::load(const std::string& image) {
  std::optional<Loaded> result;
  host().restoration().loadRestoreImage(image, [&](Loaded loaded) { result = std::move(loaded); });
  EXPECT_FALSE(result) << "the load completed inside the call";
  runUntil([&] { return result.has_value(); }, "a restore image is loaded");
  return std::move(result).value();
}

std::shared_ptr<const platform::HardwareModel> Contract::hardwareModel() {
  if (const auto bundle = underTest().preparedBundle()) {
    return host().identities().hardwareModel(files().read(*bundle + "/HardwareModel").value());
  }
  const auto image = load(smallRestoreImage());
  return image.value()->mostFeaturefulSupportedConfiguration().value().hardwareModel;
}

/// Fills in all of the configuration except the hardware model, the machine identifier and the
/// auxiliary storage.
void Contract::describe(Guest& guest) {
  auto& configuration = guest.configuration;
  configuration.bootLoader = platform::BootLoader::macOS;
  configuration.cpuCount = host().capabilities().limits().minimumCPUCount;
  // With half of that the firmware for arm64 does not load a kernel, which is not compressed there.
  configuration.memorySize = std::max<std::uint64_t>(
      512UL * 1024UL * 1024UL, host().capabilities().limits().minimumMemorySize);
  configuration.graphicsDevices = {
      {.displays = {{.widthInPixels = 1920, .heightInPixels = 1200, .pixelsPerInch = 80}}}};
  configuration.storageDevices = {{host().machines().attachDisk(guest.disk, false).value()}};
  configuration.networkDevices = {{.attachment = platform::NetworkAttachment::nat,
                                   .macAddress = host().identities().randomMacAddress()}};
  configuration.entropyDevices = {platform::EntropyDevice::virtio};
  configuration.keyboards = {platform::Keyboard::usb};
  configuration.pointingDevices = {platform::PointingDevice::usbScreenCoordinate};
}

Guest Contract::emptyGuest(const std::string& name, std::uint64_t diskLength) {
  Guest guest{
      .disk = path(name + ".disk"), .auxiliaryStorage = path(name + ".aux"), .configuration = {}};
  const auto model = hardwareModel();
  EXPECT_TRUE(files().create(guest.disk, ""));
  EXPECT_TRUE(files().setLength(guest.disk, diskLength));

  guest.configuration.hardwareModel = model;
  guest.configuration.machineIdentifier = host().identities().newMachineIdentifier();
  guest.configuration.auxiliaryStorage =
      host().machines().createAuxiliaryStorage(guest.auxiliaryStorage, *model).value();
  describe(guest);
  return guest;
}

Guest Contract::copyOf(const std::string& bundle, const std::string& name) {
  const std::string copy = path(name);
  EXPECT_TRUE(files().createDirectory(copy));
  EXPECT_TRUE(files().copyDirectory(bundle, copy, {}));
  Guest guest{.disk = copy + "/Disk.img",
              .auxiliaryStorage = copy + "/AuxiliaryStorage",
              .configuration = {}};
  guest.configuration.hardwareModel = hardwareModel();
  guest.configuration.machineIdentifier =
      host().identities().machineIdentifier(files().read(copy + "/MachineIdentifier").value());
  guest.configuration.auxiliaryStorage =
      host().machines().openAuxiliaryStorage(guest.auxiliaryStorage);
  describe(guest);
  return guest;
}

Result<> Contract::install(const Guest& guest, const std::string& image) {
  const Loaded loaded = load(image);
  if (!loaded) return std::unexpected(loaded.error());
  const auto machine = host().machines().createMachine(guest.configuration);
  const auto installer = host().restoration().createInstaller(*machine, **loaded);
  std::optional<Result<>> result;
  installer->install([&](Result<> installed) { result = std::move(installed); });
  EXPECT_FALSE(result) << "the installation completed inside the call";
  runUntil([&] { return result.has_value(); }, "an installation ends");
  return std::move(result).value();
}

Guest Contract::installedGuest(const std::string& name) {
  if (const auto bundle = underTest().preparedBundle()) return copyOf(*bundle, name);
  Guest guest = emptyGuest(name, smallDisk);
  EXPECT_TRUE(install(guest, path("small-image")));
  return guest;
}

void Contract::expectReason(const std::string& error, const std::string& path) {
  EXPECT_NE(error, "");
  if (underTest().explainsFailedStarts()) {
    EXPECT_THAT(error, NamesFile(path));
  }
}

std::unique_ptr<platform::VirtualMachine> Contract::machineOf(const Guest& guest,
                                                              MachineStory& story) {
  EXPECT_TRUE(host().machines().validate(guest.configuration));
  auto machine = host().machines().createMachine(guest.configuration);
  machine->setDelegate(&story);
  return machine;
}

std::unique_ptr<platform::VirtualMachine> Contract::runningMachine(const Guest& guest,
                                                                   MachineStory& story) {
  auto machine = machineOf(guest, story);
  machine->start(story.tell("started"));
  runUntil([&] { return !story.happened.empty(); }, "the machine runs");
  EXPECT_TRUE(story.has("started")) << story.lastError;
  return machine;
}

std::int64_t raw(platform::MachineState state) { return static_cast<std::int64_t>(state); }

std::vector<HostMaker> allHosts() {
  std::vector<HostMaker> hosts = nativeHosts();
  hosts.push_back(simulatedHost());
  return hosts;
}

std::string nameOf(const testing::TestParamInfo<HostMaker>& info) { return info.param.name; }

}  // namespace parlen::test
