#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/mac_address.h"

namespace parlen {

// The one display that every guest has: its machine is configured with it, and its window keeps its
// proportions.
inline constexpr std::int64_t vmDisplayWidth = 1920;   // pixels
inline constexpr std::int64_t vmDisplayHeight = 1200;  // pixels
inline constexpr std::int64_t vmDisplayPixelsPerInch = 80;

}  // namespace parlen

/// The description of a guest's hardware: handles that a host has made, and plain values. Each type
/// corresponds to a class of the Virtualization framework (VZMacHardwareModel,
/// VZVirtioBlockDeviceConfiguration, ...). Handles are immutable and shared. Main thread.
namespace parlen::platform {

/// The kind of hardware that a guest was installed for, in the host's own format.
class HardwareModel {
 public:
  virtual ~HardwareModel() = default;
  /// The bytes to store; GuestIdentities::hardwareModel reads them back.
  virtual std::string dataRepresentation() const = 0;
  /// Whether this host can run a guest of this model.
  virtual bool isSupported() const = 0;
};

/// What distinguishes one guest from another, in the host's own format.
class MachineIdentifier {
 public:
  virtual ~MachineIdentifier() = default;
  /// The bytes to store; GuestIdentities::machineIdentifier reads them back.
  virtual std::string dataRepresentation() const = 0;
};

/// A handle on a guest's auxiliary storage file, which holds the variables of its firmware.
class AuxiliaryStorage {
 public:
  virtual ~AuxiliaryStorage() = default;
};

/// A disk image that the host has opened and accepted as a guest's disk.
class DiskAttachment {
 public:
  virtual ~DiskAttachment() = default;
};

enum class BootLoader { none, macOS };
enum class NetworkAttachment { nat };
enum class Keyboard { usb };
enum class PointingDevice { usbScreenCoordinate };
enum class EntropyDevice { virtio };
enum class AudioDevice {};  // there is none: no guest has sound

struct Display {
  std::int64_t widthInPixels = 0;
  std::int64_t heightInPixels = 0;
  std::int64_t pixelsPerInch = 0;
  friend bool operator==(const Display&, const Display&) = default;
};

struct GraphicsDevice {
  std::vector<Display> displays;
  friend bool operator==(const GraphicsDevice&, const GraphicsDevice&) = default;
};

/// A virtio block device.
struct StorageDevice {
  std::shared_ptr<const DiskAttachment> attachment;
};

/// A virtio network device. Without `macAddress` the host chooses an address.
struct NetworkDevice {
  NetworkAttachment attachment = NetworkAttachment::nat;
  std::optional<MacAddress> macAddress;
  friend bool operator==(const NetworkDevice&, const NetworkDevice&) = default;
};

enum class ShareAccess { readOnly, readWrite };

/// A directory of the host that the guest can mount.
struct DirectorySharingDevice {
  std::string tag;   // the name to mount it by
  std::string path;  // on the host
  ShareAccess access = ShareAccess::readOnly;
  friend bool operator==(const DirectorySharingDevice&, const DirectorySharingDevice&) = default;
};

/// The complete description of a guest's hardware. All handles are those of the host that will run
/// it.
struct MachineConfiguration {
  std::shared_ptr<const HardwareModel> hardwareModel;
  std::shared_ptr<const MachineIdentifier> machineIdentifier;
  std::shared_ptr<const AuxiliaryStorage> auxiliaryStorage;
  BootLoader bootLoader = BootLoader::none;
  std::int64_t cpuCount = 0;
  std::uint64_t memorySize = 0;  // bytes
  std::vector<GraphicsDevice> graphicsDevices;
  std::vector<StorageDevice> storageDevices;
  std::vector<NetworkDevice> networkDevices;
  std::vector<EntropyDevice> entropyDevices;
  std::vector<Keyboard> keyboards;
  std::vector<PointingDevice> pointingDevices;
  std::vector<AudioDevice> audioDevices;
  std::vector<DirectorySharingDevice> directorySharingDevices;
};

}  // namespace parlen::platform
