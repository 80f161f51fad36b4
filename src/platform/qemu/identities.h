#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "platform/host.h"
#include "platform/qemu/installation.h"

namespace parlen::qemu {

/// A guest's hardware as a small JSON text: its architecture, machine type and firmware.
class HardwareModel : public platform::HardwareModel {
 public:
  /// The model of a new guest of `platform`.
  explicit HardwareModel(const GuestPlatform& platform);
  /// Null if the bytes are not such a text.
  static std::shared_ptr<const HardwareModel> parse(std::string_view bytes);

  std::string dataRepresentation() const override { return text_; }
  bool isSupported() const override;
  /// Null if this host does not know the kind of guest.
  const GuestPlatform* platform() const { return platform_; }

 private:
  HardwareModel(std::string_view text, const GuestPlatform* platform)
      : text_(text), platform_(platform) {}

  std::string text_;
  const GuestPlatform* platform_ = nullptr;
};

/// 16 random bytes, which the guest sees as the UUID of its board.
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

class Identities : public platform::GuestIdentities {
 public:
  std::shared_ptr<const platform::HardwareModel> hardwareModel(std::string_view bytes) override;
  std::shared_ptr<const platform::MachineIdentifier> machineIdentifier(
      std::string_view bytes) override;
  std::shared_ptr<const platform::MachineIdentifier> newMachineIdentifier() override;
  platform::MacAddress randomMacAddress() override;
};

}  // namespace parlen::qemu
