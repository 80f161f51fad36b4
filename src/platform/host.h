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

/// The least and the most that a machine on this host may have. Source: the properties
/// minimumAllowed... and maximumAllowed... of VZVirtualMachineConfiguration.
struct MachineLimits {
  std::int64_t minimumCPUCount = 0;
  std::int64_t maximumCPUCount = 0;
  std::uint64_t minimumMemorySize = 0;  // bytes
  std::uint64_t maximumMemorySize = 0;  // bytes
};

/// What this host can do. Each call asks the host; nothing is cached. Main thread.
class HostCapabilities {
 public:
  virtual ~HostCapabilities() = default;
  /// Whether virtual machines can run on this host.
  virtual bool isSupported() = 0;
  /// The number of the host's processors.
  virtual std::int64_t processorCount() = 0;
  virtual MachineLimits limits() = 0;
};

/// Creates what identifies a guest, and reads it back from its stored bytes. Main thread.
class GuestIdentities {
 public:
  virtual ~GuestIdentities() = default;
  /// Reads what HardwareModel::dataRepresentation returned; null if `bytes` are no valid model.
  virtual std::shared_ptr<const HardwareModel> hardwareModel(std::string_view bytes) = 0;
  /// Reads what MachineIdentifier::dataRepresentation returned; null if `bytes` are no valid
  /// identifier.
  virtual std::shared_ptr<const MachineIdentifier> machineIdentifier(std::string_view bytes) = 0;
  /// Makes a new random identifier.
  virtual std::shared_ptr<const MachineIdentifier> newMachineIdentifier() = 0;
  /// Makes a random locally administered unicast address.
  virtual MacAddress randomMacAddress() = 0;
};

/// Makes machines from files and configurations. Main thread.
class MachineFactory {
 public:
  virtual ~MachineFactory() = default;
  /// Makes a handle on the storage file at `path`. Does not open the file, which may be missing or
  /// invalid.
  virtual std::shared_ptr<const AuxiliaryStorage> openAuxiliaryStorage(const std::string& path) = 0;
  /// Creates the storage file for a guest of `model`. It is an error if `path` exists.
  virtual Result<std::shared_ptr<const AuxiliaryStorage>> createAuxiliaryStorage(
      const std::string& path, const HardwareModel& model) = 0;
  /// Opens the raw disk image at `path` for a guest to read and, unless `readOnly`, to write.
  virtual Result<std::shared_ptr<const DiskAttachment>> attachDisk(const std::string& path,
                                                                   bool readOnly) = 0;
  /// The tag of a shared directory that the guest mounts by itself.
  virtual std::string automountTag() = 0;
  /// Checks whether this host can run such a machine: at least the CPU count and the memory size.
  virtual Result<> validate(const MachineConfiguration& configuration) = 0;
  /// Makes a machine, in the state `stopped`, from a configuration that `validate` accepts.
  virtual std::unique_ptr<VirtualMachine> createMachine(
      const MachineConfiguration& configuration) = 0;
};

/// What a restore image's best configuration that this host can run needs.
/// Source: VZMacOSConfigurationRequirements.
struct ConfigurationRequirements {
  std::shared_ptr<const HardwareModel> hardwareModel;
  std::int64_t minimumCPUCount = 1;
  std::uint64_t minimumMemorySize = 0;  // bytes
};

/// A restore image that has been loaded. Immutable.
class RestoreImage {
 public:
  virtual ~RestoreImage() = default;
  /// The file that it was loaded from.
  virtual std::string path() const = 0;
  /// Nullopt if this host can run none of the image's configurations.
  virtual std::optional<ConfigurationRequirements> mostFeaturefulSupportedConfiguration() const = 0;
};

/// Keeps an observation alive. Destroying it ends the calls; it waits for a call that is running on
/// another thread, and may be done from inside a call.
class ProgressObservation {
 public:
  virtual ~ProgressObservation() = default;
};

/// Installs a guest operating system on a machine's disk, once. Main thread, except for its
/// callbacks.
class Installer {
 public:
  virtual ~Installer() = default;
  /// The progress, from 0 to 1.
  virtual double fractionCompleted() const = 0;
  /// Calls `onChange` once before it returns, then after every change of the progress: on any
  /// thread, one call at a time.
  virtual std::unique_ptr<ProgressObservation> observeProgress(std::function<void()> onChange) = 0;
  /// Starts the installation. `onDone` runs on any thread, never from inside this call, after the
  /// installer's last write.
  virtual void install(Completion onDone) = 0;
};

/// Loads restore images and makes their installers. Main thread.
class Restoration {
 public:
  virtual ~Restoration() = default;
  using Loaded = std::function<void(Result<std::shared_ptr<const RestoreImage>>)>;
  /// Loads the image at `path`. `onLoaded` runs exactly once, on any thread, never from inside this
  /// call.
  virtual void loadRestoreImage(const std::string& path, Loaded onLoaded) = 0;
  /// Makes an installer for `machine`, which is stopped and must outlive the installer.
  /// `image` was loaded by this host and need not outlive the call.
  virtual std::unique_ptr<Installer> createInstaller(VirtualMachine& machine,
                                                     const RestoreImage& image) = 0;
};

/// What runs the guests and shows them. Owns its parts; each is made at the first call that asks
/// for it, so that a command pays only for what it uses. Main thread.
class Host {
 public:
  virtual ~Host() = default;
  virtual HostCapabilities& capabilities() = 0;
  virtual GuestIdentities& identities() = 0;
  virtual MachineFactory& machines() = 0;
  virtual Restoration& restoration() = 0;
  virtual Application& application() = 0;
  /// The desktop; owned by the host. The first call opens it; the error says what is missing. A
  /// display that does not answer is waited for at most some seconds.
  virtual Result<WindowSystem*> windowSystem() = 0;
};

}  // namespace parlen::platform
