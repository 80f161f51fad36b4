#include <algorithm>
#include <string>

#include "platform/qemu/capabilities.h"
#include "platform/qemu/errors.h"
#include "platform/qemu/identities.h"
#include "platform/qemu/machine_factory.h"
#include "platform/qemu/storage.h"

namespace parlen::qemu {
namespace {

using platform::MachineConfiguration;
using platform::MachineLimits;
using platform::Result;

Result<> validateNumbers(const MachineConfiguration& configuration, const MachineLimits& limits) {
  const auto within = [](auto value, auto least, auto most) {
    return value >= least && value <= most;
  };
  if (!within(configuration.cpuCount, limits.minimumCPUCount, limits.maximumCPUCount)) {
    return refusal("the CPU count " + std::to_string(configuration.cpuCount) + " is not between " +
                   std::to_string(limits.minimumCPUCount) + " and " +
                   std::to_string(limits.maximumCPUCount));
  }
  const std::uint64_t memory = configuration.memorySize;
  if (!within(memory, limits.minimumMemorySize, limits.maximumMemorySize)) {
    return refusal("the memory size " + std::to_string(memory) + " is not between " +
                   std::to_string(limits.minimumMemorySize) + " and " +
                   std::to_string(limits.maximumMemorySize) + " bytes");
  }
  if (memory % mebibyte != 0) {
    return refusal("the memory size " + std::to_string(memory) + " is no multiple of 1 MiB");
  }
  return {};
}

/// The handles must be this host's own, of a kind of guest that it knows.
Result<> validateHandles(const MachineConfiguration& configuration) {
  const auto* model = dynamic_cast<const HardwareModel*>(configuration.hardwareModel.get());
  if (model == nullptr || model->platform() == nullptr) {
    return refusal("the configuration has no hardware model of this host");
  }
  if (dynamic_cast<const MachineIdentifier*>(configuration.machineIdentifier.get()) == nullptr) {
    return refusal("the configuration has no machine identifier of this host");
  }
  if (dynamic_cast<const AuxiliaryStorage*>(configuration.auxiliaryStorage.get()) == nullptr) {
    return refusal("the configuration has no auxiliary storage of this host");
  }
  const auto isOurs = [](const platform::StorageDevice& device) {
    return dynamic_cast<const DiskAttachment*>(device.attachment.get()) != nullptr;
  };
  if (!std::ranges::all_of(configuration.storageDevices, isOurs)) {
    return refusal("the configuration has a disk that is not of this host");
  }
  return {};
}

Result<> validateDevices(const MachineConfiguration& configuration) {
  std::size_t displays = 0;
  for (const auto& graphics : configuration.graphicsDevices) displays += graphics.displays.size();
  if (displays > 1) return refusal("this host gives a guest one display at most");
  constexpr std::size_t longestTag = 31;
  for (const auto& share : configuration.directorySharingDevices) {
    if (share.tag.empty() || share.tag.size() > longestTag) {
      return refusal("the share tag '" + share.tag + "' is not between 1 and 31 bytes long");
    }
  }
  for (const auto& network : configuration.networkDevices) {
    if (network.macAddress && (network.macAddress->octets[0] & 1U) != 0) {
      return refusal("the MAC address " + platform::toString(*network.macAddress) +
                     " is a multicast address");
    }
  }
  return {};
}

}  // namespace

Result<> validate(const MachineConfiguration& configuration, const MachineLimits& limits) {
  if (auto numbers = validateNumbers(configuration, limits); !numbers) return numbers;
  if (auto handles = validateHandles(configuration); !handles) return handles;
  return validateDevices(configuration);
}

}  // namespace parlen::qemu
