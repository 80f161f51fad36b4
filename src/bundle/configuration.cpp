#include "bundle/configuration.h"

#include <string_view>
#include <utility>

#include "bundle/settings.h"
#include "events/error_code.h"
#include "events/event_stream.h"
#include "platform/machine_configuration.h"
#include "platform/platform.h"

namespace parlen {
namespace {

using platform::DirectorySharingDevice;
using platform::MachineConfiguration;
using platform::Result;

struct Identity {
  std::shared_ptr<const platform::HardwareModel> hardwareModel;
  std::shared_ptr<const platform::MachineIdentifier> machineIdentifier;
};

[[noreturn]] void bundleMissing(std::string_view what, const VMBundle& bundle) {
  die(errorCode::bundleMissing, std::string(what) + bundle.root());
}

/// The order of the checks decides which of several defects is reported.
Identity checkedIdentity(const VMBundle& bundle) {
  const platform::Files& files = platform::system().files();
  platform::GuestIdentities& identities = platform::host().identities();

  Identity identity;
  if (const auto bytes = files.read(bundle.hardwareModel())) {
    identity.hardwareModel = identities.hardwareModel(*bytes);
  }
  if (!identity.hardwareModel) bundleMissing("no usable HardwareModel in ", bundle);
  if (!identity.hardwareModel->isSupported()) {
    bundleMissing("this host cannot run the hardware model in ", bundle);
  }
  if (const auto bytes = files.read(bundle.machineIdentifier())) {
    identity.machineIdentifier = identities.machineIdentifier(*bytes);
  }
  if (!identity.machineIdentifier) bundleMissing("no usable MachineIdentifier in ", bundle);
  if (!files.exists(bundle.disk())) bundleMissing("no Disk.img in ", bundle);
  return identity;
}

/// Without an address that can be parsed the host chooses one.
platform::NetworkDevice networkDevice(const std::optional<VMSettings>& settings) {
  platform::NetworkDevice device;
  if (settings) device.macAddress = platform::parseMacAddress(settings->macAddress);
  return device;
}

DirectorySharingDevice shared(const std::string& path, std::string tag,
                              platform::ShareAccess access) {
  const std::string directory = absolutePath(path);
  // If this fails, validating or starting the machine reports it.
  (void)platform::system().files().createDirectories(directory);
  return {std::move(tag), directory, access};
}

}  // namespace

DirectorySharingDevice sharingDevice(const std::string& path) {
  return shared(path, platform::host().machines().automountTag(), platform::ShareAccess::readOnly);
}

DirectorySharingDevice logsSharingDevice(const std::string& path) {
  return shared(path, "parlen-logs", platform::ShareAccess::readWrite);
}

Result<MachineConfiguration> buildConfiguration(const VMBundle& bundle,
                                                const std::optional<std::string>& shareDirectory,
                                                const std::optional<std::string>& logsShare) {
  Identity identity = checkedIdentity(bundle);
  const std::optional<VMSettings> settings = loadSettings(bundle);
  platform::MachineFactory& machines = platform::host().machines();

  MachineConfiguration configuration;
  configuration.hardwareModel = std::move(identity.hardwareModel);
  configuration.machineIdentifier = std::move(identity.machineIdentifier);
  configuration.auxiliaryStorage = machines.openAuxiliaryStorage(bundle.auxiliaryStorage());
  configuration.bootLoader = platform::BootLoader::macOS;
  // As stored, even out of range: the validation rejects them.
  configuration.cpuCount = settings ? settings->cpuCount : defaultCpuCount();
  configuration.memorySize = settings ? settings->memoryBytes : defaultMemoryBytes();
  configuration.graphicsDevices = {
      {.displays = {{vmDisplayWidth, vmDisplayHeight, vmDisplayPixelsPerInch}}}};
  auto disk = machines.attachDisk(bundle.disk(), /*readOnly=*/false);
  if (!disk) return std::unexpected(std::move(disk).error());
  configuration.storageDevices = {{*std::move(disk)}};
  configuration.networkDevices = {networkDevice(settings)};
  configuration.entropyDevices = {platform::EntropyDevice::virtio};
  configuration.keyboards = {platform::Keyboard::usb};
  configuration.pointingDevices = {platform::PointingDevice::usbScreenCoordinate};
  if (shareDirectory) {
    configuration.directorySharingDevices.push_back(sharingDevice(*shareDirectory));
  }
  if (logsShare) configuration.directorySharingDevices.push_back(logsSharingDevice(*logsShare));
  return configuration;
}

}  // namespace parlen
