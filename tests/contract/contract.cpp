#include "contract/contract.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace parlen::test {
namespace {

using platform::Result;

struct Finished {};

// Emulated guests on a busy machine take long.
constexpr std::chrono::minutes patience{2};
constexpr std::chrono::milliseconds checkInterval{1};

}  // namespace

platform::Completion MachineStory::tell(const std::string& what) {
  return [this, what, thread = std::this_thread::get_id()](const Result<>& result) {
    EXPECT_EQ(std::this_thread::get_id(), thread);
    happened.push_back(result ? what : what + " failed");
    if (!result) lastError = result.error().description;
  };
}

bool MachineStory::has(const std::string& what) const {
  return std::ranges::find(happened, what) != happened.end();
}

void MachineStory::didStopWithError(const platform::PlatformError& error) {
  happened.emplace_back("stopped with an error");
  lastError = error.description;
}

void Contract::SetUp() {
  host_ = GetParam().make();
  if (!host().capabilities().isSupported()) GTEST_SKIP() << "this machine runs no guests";
}

void Contract::runUntil(const std::function<bool()>& condition, const char* what) {
  const auto deadline = loop().now() + patience;
  bool late = false;
  std::function<void()> check = [&] {
    late = loop().now() > deadline;
    if (late || condition()) throw Finished();
    loop().postDelayed(checkInterval, check);
  };
  loop().post(check);
  try {
    loop().run();
  } catch (const Finished&) {
  }
  ASSERT_FALSE(late) << "waited too long: " << what;
}

void Contract::runAWhile() {
  int turns = 20;
  runUntil([&turns] { return --turns == 0; }, "some turns");
}

std::string Contract::smallRestoreImage() {
  std::string image = path("small-image");
  EXPECT_TRUE(files().write(image, underTest().smallRestoreImage()));
  return image;
}

Contract::Loaded Contract::load(const std::string& image) {
  std::optional<Loaded> result;
  host().restoration().loadRestoreImage(image, [&](Loaded loaded) { result = std::move(loaded); });
  EXPECT_FALSE(result) << "the load completed inside the call";
  runUntil([&] { return result.has_value(); }, "a restore image is loaded");
  return std::move(result).value();
}

Guest Contract::emptyGuest(const std::string& name, std::uint64_t diskLength) {
  Guest guest{
      .disk = path(name + ".disk"), .auxiliaryStorage = path(name + ".aux"), .configuration = {}};
  const auto image = load(smallRestoreImage());
  const auto model = image.value()->mostFeaturefulSupportedConfiguration().value().hardwareModel;
  files().createEmptyFile(guest.disk);
  EXPECT_TRUE(files().setLength(guest.disk, diskLength));

  auto& configuration = guest.configuration;
  configuration.hardwareModel = model;
  configuration.machineIdentifier = host().identities().newMachineIdentifier();
  configuration.auxiliaryStorage =
      host().machines().createAuxiliaryStorage(guest.auxiliaryStorage, *model).value();
  configuration.bootLoader = platform::BootLoader::macOS;
  configuration.cpuCount = host().capabilities().limits().minimumCPUCount;
  configuration.memorySize = std::max<std::uint64_t>(
      256UL * 1024UL * 1024UL, host().capabilities().limits().minimumMemorySize);
  configuration.graphicsDevices = {
      {.displays = {{.widthInPixels = 1920, .heightInPixels = 1200, .pixelsPerInch = 80}}}};
  configuration.storageDevices = {{host().machines().attachDisk(guest.disk, false).value()}};
  configuration.networkDevices = {{.attachment = platform::NetworkAttachment::nat,
                                   .macAddress = host().identities().randomMacAddress()}};
  configuration.entropyDevices = {platform::EntropyDevice::virtio};
  configuration.keyboards = {platform::Keyboard::usb};
  configuration.pointingDevices = {platform::PointingDevice::usbScreenCoordinate};
  return guest;
}

Result<> Contract::install(const Guest& guest, const std::string& image) {
  const auto machine = host().machines().createMachine(guest.configuration);
  const auto installer = host().restoration().createInstaller(*machine, image);
  std::optional<Result<>> result;
  installer->install([&](Result<> installed) { result = std::move(installed); });
  EXPECT_FALSE(result) << "the installation completed inside the call";
  runUntil([&] { return result.has_value(); }, "an installation ends");
  return std::move(result).value();
}

Guest Contract::installedGuest(const std::string& name) {
  Guest guest = emptyGuest(name, smallDisk);
  EXPECT_TRUE(install(guest, path("small-image")));
  return guest;
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
