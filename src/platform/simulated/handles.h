#pragma once

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "platform/files.h"
#include "platform/host.h"
#include "platform/machine_configuration.h"
#include "platform/simulated/world.h"

namespace parlen::simulated {

// The handles of the simulated host. A process has one host, so each handle that the program passes
// back is one of these, and opened() may cast it.

/// A hardware model is a name, supported if the scenario lists it.
class HardwareModel : public platform::HardwareModel {
 public:
  HardwareModel(std::shared_ptr<const World> world, std::string name)
      : world_(std::move(world)), name_(std::move(name)) {}

  std::string dataRepresentation() const override { return std::string(prefix) + name_; }
  bool isSupported() const override {
    return std::ranges::find(world_->scenario.host.hardwareModels, name_) !=
           world_->scenario.host.hardwareModels.end();
  }
  const std::string& name() const { return name_; }

  static constexpr std::string_view prefix = "parlen-simulated-hardware-model:";
  /// Not empty and without line feeds: this host writes none, an editor adds one at the end.
  static bool isName(std::string_view text) {
    return !text.empty() && text.find('\n') == std::string_view::npos;
  }

 private:
  std::shared_ptr<const World> world_;
  std::string name_;
};

/// A machine identifier: 32 lower-case hexadecimal digits.
class MachineIdentifier : public platform::MachineIdentifier {
 public:
  explicit MachineIdentifier(std::string digits) : digits_(std::move(digits)) {}

  std::string dataRepresentation() const override { return std::string(prefix) + digits_; }
  const std::string& digits() const { return digits_; }

  static constexpr std::string_view prefix = "parlen-simulated-machine-identifier:";

 private:
  std::string digits_;
};

/// The path of a file of firmware variables, which is first read when the machine starts.
class AuxiliaryStorage : public platform::AuxiliaryStorage {
 public:
  explicit AuxiliaryStorage(std::string path) : path_(std::move(path)) {}
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

enum class DiskAccess { readOnly, readWrite };

/// The path of a raw disk image, and what the guest may do with it.
class DiskAttachment : public platform::DiskAttachment {
 public:
  DiskAttachment(std::string path, DiskAccess access) : path_(std::move(path)), access_(access) {}
  const std::string& path() const { return path_; }
  bool isReadOnly() const { return access_ == DiskAccess::readOnly; }

 private:
  std::string path_;
  DiskAccess access_;
};

/// The simulated object behind a handle; null for null.
inline const HardwareModel* opened(const std::shared_ptr<const platform::HardwareModel>& handle) {
  return static_cast<const HardwareModel*>(handle.get());
}
inline const MachineIdentifier* opened(
    const std::shared_ptr<const platform::MachineIdentifier>& handle) {
  return static_cast<const MachineIdentifier*>(handle.get());
}
inline const AuxiliaryStorage* opened(
    const std::shared_ptr<const platform::AuxiliaryStorage>& handle) {
  return static_cast<const AuxiliaryStorage*>(handle.get());
}
inline const DiskAttachment* opened(const std::shared_ptr<const platform::DiskAttachment>& handle) {
  return static_cast<const DiskAttachment*>(handle.get());
}

/// Makes handles from the bytes of a bundle's files (null if this host did not write them), and new
/// random ones.
class Identities : public platform::GuestIdentities {
 public:
  explicit Identities(std::shared_ptr<const World> world) : world_(std::move(world)) {}

  std::shared_ptr<const platform::HardwareModel> hardwareModel(std::string_view bytes) override;
  std::shared_ptr<const platform::MachineIdentifier> machineIdentifier(
      std::string_view bytes) override;
  std::shared_ptr<const platform::MachineIdentifier> newMachineIdentifier() override;
  platform::MacAddress randomMacAddress() override;

 private:
  std::shared_ptr<const World> world_;
};

/// Creates the storage file for a guest of `model`. An error if something exists at `path`.
platform::Result<> createAuxiliaryStorage(platform::Files& files, const std::string& path,
                                          const HardwareModel& model);

/// Checks that a machine with these files can start: the storage belongs to the hardware model, and
/// the first disk has a guest on it.
platform::Result<> checkGuestFiles(const platform::Files& files,
                                   const platform::MachineConfiguration& configuration);

/// Checks that the first disk is long enough for a guest.
platform::Result<> checkRoomForGuest(const platform::Files& files,
                                     const platform::MachineConfiguration& configuration);

/// Writes a guest to the start of the first disk. The other bytes and the length do not change.
platform::Result<> writeGuest(platform::Files& files,
                              const platform::MachineConfiguration& configuration);

}  // namespace parlen::simulated
