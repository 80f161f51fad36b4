#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "platform/error.h"
#include "platform/host.h"
#include "platform/machine_configuration.h"
#include "platform/qemu/guest_platform.h"

namespace parlen::qemu {

/// A guest's hardware as a JSON object: its architecture, machine type and firmware.
class HardwareModel : public platform::HardwareModel {
 public:
  /// The model of a new guest of `platform`.
  explicit HardwareModel(GuestPlatform platform);
  /// Null if `bytes` are not such an object of texts without control characters. Whether it is
  /// supported depends on `host`.
  static std::shared_ptr<const HardwareModel> parse(std::string_view bytes, const Installed& host);

  std::string dataRepresentation() const override { return text_; }
  bool isSupported() const override { return platform_.has_value(); }
  /// The error says why the host cannot run such a guest.
  const platform::Result<GuestPlatform>& platform() const { return platform_; }

 private:
  HardwareModel(std::string_view text, platform::Result<GuestPlatform> platform)
      : text_(text), platform_(std::move(platform)) {}

  std::string text_;
  platform::Result<GuestPlatform> platform_;
};

/// 16 random bytes, the UUID of the guest's board (SMBIOS).
class MachineIdentifier : public platform::MachineIdentifier {
 public:
  using Bytes = std::array<std::uint8_t, 16>;
  explicit MachineIdentifier(const Bytes& bytes) : bytes_(bytes) {}

  std::string dataRepresentation() const override;
  /// "00112233-4455-6677-8899-aabbccddeeff".
  std::string uuid() const;

 private:
  Bytes bytes_;
};

/// The guest's own copy of the firmware's variable store (UEFI variables).
class AuxiliaryStorage : public platform::AuxiliaryStorage {
 public:
  explicit AuxiliaryStorage(std::string path) : path_(std::move(path)) {}
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

enum class DiskKind { file, blockDevice };
enum class DiskAccess { readOnly, readWrite };

class DiskAttachment : public platform::DiskAttachment {
 public:
  DiskAttachment(std::string path, DiskKind kind, DiskAccess access)
      : path_(std::move(path)), kind_(kind), access_(access) {}
  const std::string& path() const { return path_; }
  DiskKind kind() const { return kind_; }
  DiskAccess access() const { return access_; }

 private:
  std::string path_;
  DiskKind kind_;
  DiskAccess access_;
};

class Identities : public platform::GuestIdentities {
 public:
  /// `warn` gets a sentence for a hardware model that the host does not support.
  explicit Identities(platform::WarningSink warn) : warn_(std::move(warn)) {}

  std::shared_ptr<const platform::HardwareModel> hardwareModel(std::string_view bytes) override;
  std::shared_ptr<const platform::MachineIdentifier> machineIdentifier(
      std::string_view bytes) override;
  std::shared_ptr<const platform::MachineIdentifier> newMachineIdentifier() override;
  platform::MacAddress randomMacAddress() override;

 private:
  platform::WarningSink warn_;
};

/// How far a guest's installation is. It is kept in the signature of the guest's variable store, so
/// that it changes with one small write and a copy of the guest has it as well.
enum class Installation { unfinished, finished };

/// Copies the firmware's initial variable store to `path`, which must not exist. It may be blank,
/// all zeros, for the firmware to fill. The installation is unfinished from the first byte on.
platform::Result<> createAuxiliaryStorage(const std::string& path, const Firmware& firmware);

/// Sets how far the installation is, in an existing variable store of `firmware`. That it is
/// unfinished is on stable storage when the call returns.
platform::Result<> setInstallation(Installation installation, const std::string& path,
                                   const Firmware& firmware);

/// Checks that the file at `path` is a variable store of `firmware`, by its length and signature,
/// and that the installation of its guest is finished.
platform::Result<> checkAuxiliaryStorage(const std::string& path, const Firmware& firmware);

/// Opens the image as QEMU will, so that an error shows now, and closes it again.
platform::Result<DiskAttachment> attachDisk(const std::string& path, DiskAccess access);

}  // namespace parlen::qemu
