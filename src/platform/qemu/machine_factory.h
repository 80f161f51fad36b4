#pragma once

#include "platform/host.h"
#include "platform/linux/loop.h"

namespace parlen::qemu {

class MachineFactory : public platform::MachineFactory {
 public:
  MachineFactory(linux::Loop& loop, platform::WarningSink warn,
                 platform::HostCapabilities& capabilities);

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
  linux::Loop& loop_;
  platform::WarningSink warn_;
  platform::HostCapabilities& capabilities_;
};

/// Whether a host with these limits runs such a machine. Looks at nothing but the values.
platform::Result<> validate(const platform::MachineConfiguration& configuration,
                            const platform::MachineLimits& limits);

}  // namespace parlen::qemu
