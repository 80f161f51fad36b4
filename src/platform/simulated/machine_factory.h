#pragma once

#include <memory>
#include <string>
#include <utility>

#include "platform/host.h"
#include "platform/simulated/world.h"

namespace parlen::simulated {

class MachineFactory : public platform::MachineFactory {
 public:
  explicit MachineFactory(std::shared_ptr<World> world) : world_(std::move(world)) {}

  std::shared_ptr<const platform::AuxiliaryStorage> openAuxiliaryStorage(
      const std::string& path) override;
  platform::Result<std::shared_ptr<const platform::AuxiliaryStorage>> createAuxiliaryStorage(
      const std::string& path, const platform::HardwareModel& model) override;
  platform::Result<std::shared_ptr<const platform::DiskAttachment>> attachDisk(
      const std::string& path, bool readOnly) override;
  std::string automountTag() override { return "parlen-simulated-automount"; }
  platform::Result<> validate(const platform::MachineConfiguration& configuration) override;
  std::unique_ptr<platform::VirtualMachine> createMachine(
      const platform::MachineConfiguration& configuration) override;

 private:
  std::shared_ptr<World> world_;
};

}  // namespace parlen::simulated
