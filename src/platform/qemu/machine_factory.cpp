#include "platform/qemu/machine_factory.h"

#include <utility>

#include "platform/qemu/errors.h"
#include "platform/qemu/identities.h"
#include "platform/qemu/machine.h"
#include "platform/qemu/qemu_arguments.h"
#include "platform/qemu/storage.h"

namespace parlen::qemu {

using platform::Result;

MachineFactory::MachineFactory(linux::Loop& loop, platform::WarningSink warn,
                               platform::HostCapabilities& capabilities)
    : loop_(loop), warn_(std::move(warn)), capabilities_(capabilities) {}

std::shared_ptr<const platform::AuxiliaryStorage> MachineFactory::openAuxiliaryStorage(
    const std::string& path) {
  return std::make_shared<AuxiliaryStorage>(path);
}

Result<std::shared_ptr<const platform::AuxiliaryStorage>> MachineFactory::createAuxiliaryStorage(
    const std::string& path, const platform::HardwareModel& model) {
  const auto* ours = dynamic_cast<const HardwareModel*>(&model);
  if (ours == nullptr || ours->platform() == nullptr) {
    return refusal("this host does not know the hardware model");
  }
  if (auto created = qemu::createAuxiliaryStorage(path, *ours->platform()); !created) {
    return std::unexpected(std::move(created).error());
  }
  return openAuxiliaryStorage(path);
}

Result<std::shared_ptr<const platform::DiskAttachment>> MachineFactory::attachDisk(
    const std::string& path, bool readOnly) {
  auto attachment = qemu::attachDisk(path, readOnly ? DiskAccess::readOnly : DiskAccess::readWrite);
  if (!attachment) return std::unexpected(std::move(attachment).error());
  return std::make_shared<DiskAttachment>(*std::move(attachment));
}

std::string MachineFactory::automountTag() { return std::string(shareTag); }

Result<> MachineFactory::validate(const platform::MachineConfiguration& configuration) {
  return qemu::validate(configuration, capabilities_.limits());
}

std::unique_ptr<platform::VirtualMachine> MachineFactory::createMachine(
    const platform::MachineConfiguration& configuration) {
  return std::make_unique<Machine>(loop_, warn_, configuration);
}

}  // namespace parlen::qemu
