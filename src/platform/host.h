#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/error.h"
#include "platform/mac_address.h"
#include "platform/machine_configuration.h"
#include "platform/virtual_machine.h"
#include "platform/window_system.h"

namespace parlen::platform {

/// What a machine on this host may have, both ends included.
struct MachineLimits {
  std::int64_t minimumCPUCount = 0;
  std::int64_t maximumCPUCount = 0;
  std::uint64_t minimumMemorySize = 0;  // bytes
  std::uint64_t maximumMemorySize = 0;  // bytes
};

/// What this host is able to do. Each call asks the host; nothing is cached for the caller.
class HostCapabilities {
 public:
  virtual ~HostCapabilities() = default;
  /// Whether virtual machines can run here at all.
  virtual bool isSupported() = 0;
  virtual std::int64_t processorCount() = 0;
  virtual MachineLimits limits() = 0;
};

/// Makes and reads back what identifies a guest.
class GuestIdentities {
 public:
  virtual ~GuestIdentities() = default;
  /// Bytes that `dataRepresentation` gave once, or null if they are no usable model.
  virtual std::shared_ptr<const HardwareModel> hardwareModel(std::string_view bytes) = 0;
  /// Bytes that `dataRepresentation` gave once, or null if they are no usable identifier.
  virtual std::shared_ptr<const MachineIdentifier> machineIdentifier(std::string_view bytes) = 0;
  /// A new random identifier.
  virtual std::shared_ptr<const MachineIdentifier> newMachineIdentifier() = 0;
  /// A new random locally administered unicast address.
  virtual MacAddress randomMacAddress() = 0;
};

/// Turns files and configurations into machines. Main thread.
class MachineFactory {
 public:
  virtual ~MachineFactory() = default;
  /// A handle on an existing storage file; does not touch the file, so it may be missing or bad.
  virtual std::shared_ptr<const AuxiliaryStorage> openAuxiliaryStorage(const std::string& path) = 0;
  /// Creates the storage for a guest of `model`. A file that is there already is an error.
  virtual Result<std::shared_ptr<const AuxiliaryStorage>> createAuxiliaryStorage(
      const std::string& path, const HardwareModel& model) = 0;
  /// Opens a raw disk image for a guest to read and, unless `readOnly`, to write.
  virtual Result<std::shared_ptr<const DiskAttachment>> attachDisk(const std::string& path,
                                                                   bool readOnly) = 0;
  /// The tag of a share that a guest mounts by itself.
  virtual std::string automountTag() = 0;
  /// Whether this host would run a machine like this; at least CPU count and memory size are
  /// checked.
  virtual Result<> validate(const MachineConfiguration& configuration) = 0;
  /// A stopped machine of a valid configuration; its callbacks arrive on the main queue.
  virtual std::unique_ptr<VirtualMachine> createMachine(
      const MachineConfiguration& configuration) = 0;
};

/// The best configuration that an image offers and this host can run.
struct ConfigurationRequirements {
  std::shared_ptr<const HardwareModel> hardwareModel;
  std::int64_t minimumCPUCount = 1;
  std::uint64_t minimumMemorySize = 0;  // bytes
};

/// A restore image that has been loaded.
class RestoreImage {
 public:
  virtual ~RestoreImage() = default;
  virtual std::string path() const = 0;
  /// Nothing if this host can run none of the image's configurations.
  virtual std::optional<ConfigurationRequirements> mostFeaturefulSupportedConfiguration() const = 0;
};

/// Keeps an observation alive; destroying it ends it, after a call that is under way on another
/// thread.
class ProgressObservation {
 public:
  virtual ~ProgressObservation() = default;
};

/// Puts a guest operating system onto a machine's disk, once. Made and used on the main thread.
class Installer {
 public:
  virtual ~Installer() = default;
  /// Between 0 and 1.
  virtual double fractionCompleted() const = 0;
  /// Runs `changed` once from inside the call, then after every change, one at a time, on any
  /// thread.
  virtual std::unique_ptr<ProgressObservation> observeProgress(std::function<void()> changed) = 0;
  /// `done` may run on any thread, in a later turn, after the installer's last write.
  virtual void install(Completion done) = 0;
};

/// Restore images and what installs them.
class Restoration {
 public:
  virtual ~Restoration() = default;
  using Loaded = std::function<void(Result<std::shared_ptr<const RestoreImage>>)>;
  /// `done` may run on any thread, exactly once, in a later turn.
  virtual void loadRestoreImage(const std::string& path, Loaded done) = 0;
  /// `machine` is stopped, was made of the bundle being installed, and must outlive the installer.
  virtual std::unique_ptr<Installer> createInstaller(VirtualMachine& machine,
                                                     const std::string& restoreImagePath) = 0;
};

/// All that this host offers beyond files and processes. Each part is constructed when first asked
/// for, so that a command pays only for what it uses.
class Host {
 public:
  virtual ~Host() = default;
  virtual HostCapabilities& capabilities() = 0;
  virtual GuestIdentities& identities() = 0;
  virtual MachineFactory& machines() = 0;
  virtual Restoration& restoration() = 0;
  virtual Application& application() = 0;
  /// The desktop, opened by the first call; the error says what is missing. Owned by the host.
  virtual Result<WindowSystem*> windowSystem() = 0;
};

}  // namespace parlen::platform
