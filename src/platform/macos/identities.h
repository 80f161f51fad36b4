#pragma once

#include "platform/host.h"

namespace parlen::macos {

class Identities final : public platform::GuestIdentities {
 public:
  std::shared_ptr<const platform::HardwareModel> hardwareModel(std::string_view bytes) override;
  std::shared_ptr<const platform::MachineIdentifier> machineIdentifier(
      std::string_view bytes) override;
  std::shared_ptr<const platform::MachineIdentifier> newMachineIdentifier() override;
  platform::MacAddress randomMacAddress() override;
};

}  // namespace parlen::macos
