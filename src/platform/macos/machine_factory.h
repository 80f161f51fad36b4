#pragma once

#include "platform/host.h"

namespace parlen::macos {

class MachineFactory final : public platform::MachineFactory {
 public:
  explicit MachineFactory(platform::WarningSink warn) : warn_(std::move(warn)) {}

  std::shared_ptr<const platform::AuxiliaryStorage> openAuxiliaryStorage(
      const std::string& path) override;
  platform::Result<std::shared_ptr<const platform::AuxiliaryStorage>> createAuxiliaryStorage(
      const std::string& path, const platform::HardwareModel& model) override;
  platform::Result<std::shared_ptr<const platform::DiskAttachment>> attachDisk(
      const std::string& path, bool readOnly) override;
  std::string automountTag() override;
  platform::Result<> validate(const platform::MachineConfiguration& configuration) override;
  std::unique_ptr<platform::VirtualMachine> createMachine(
      const platform::MachineConfiguration& configuration) override;

 private:
  platform::WarningSink warn_;
};

}  // namespace parlen::macos
