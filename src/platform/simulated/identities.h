#pragma once

#include <memory>
#include <string_view>
#include <utility>

#include "platform/host.h"
#include "platform/simulated/world.h"

namespace parlen::simulated {

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

}  // namespace parlen::simulated
