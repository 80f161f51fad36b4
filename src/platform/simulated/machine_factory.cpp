#include "platform/simulated/machine_factory.h"

#include "platform/simulated/configuration_trace.h"
#include "platform/simulated/guest_files.h"
#include "platform/simulated/machine.h"

namespace parlen::simulated {
namespace {

template <class Number>
platform::Result<> checkRange(std::string_view what, Number value, Number least, Number most) {
  if (value >= least && value <= most) return {};
  return std::unexpected(failure("the " + std::string(what) + " " + std::to_string(value) +
                                 " is not within this host's limits, " + std::to_string(least) +
                                 " to " + std::to_string(most)));
}

platform::Result<> checkLimits(const HostScenario& host,
                               const platform::MachineConfiguration& configuration) {
  auto cpus =
      checkRange("CPU count", configuration.cpuCount, host.minimumCPUCount, host.maximumCPUCount);
  if (!cpus) return cpus;
  return checkRange("memory size", configuration.memorySize, host.minimumMemorySize,
                    host.maximumMemorySize);
}

}  // namespace

std::shared_ptr<const platform::AuxiliaryStorage> MachineFactory::openAuxiliaryStorage(
    const std::string& path) {
  return std::make_shared<AuxiliaryStorage>(path);
}

platform::Result<std::shared_ptr<const platform::AuxiliaryStorage>>
MachineFactory::createAuxiliaryStorage(const std::string& path,
                                       const platform::HardwareModel& model) {
  const auto& simulatedModel = static_cast<const HardwareModel&>(model);
  auto created = simulated::createAuxiliaryStorage(world_->system.files(), path, simulatedModel);
  if (!created) return std::unexpected(created.error());
  return std::make_shared<AuxiliaryStorage>(path);
}

platform::Result<std::shared_ptr<const platform::DiskAttachment>> MachineFactory::attachDisk(
    const std::string& path, bool readOnly) {
  if (const OptionalError& error = world_->scenario.configuration.attachError) {
    return std::unexpected(*error);
  }
  platform::Files& files = world_->system.files();
  if (const auto content = files.readStart(path, 0); !content) {
    return std::unexpected(content.error());
  }
  const auto access = readOnly ? DiskAccess::readOnly : DiskAccess::readWrite;
  if (access == DiskAccess::readWrite) {
    // The guest's writes would fail one by one; the attachment says so before it starts.
    if (const auto writable = files.writeStart(path, ""); !writable) {
      return std::unexpected(writable.error());
    }
  }
  return std::make_shared<DiskAttachment>(path, access);
}

platform::Result<> MachineFactory::validate(const platform::MachineConfiguration& configuration) {
  world_->trace.record("configuration.validate",
                       JsonMembers().add("configuration", describe(configuration)));
  auto limits = checkLimits(world_->scenario.host, configuration);
  if (!limits) return limits;
  const OptionalError& error = world_->scenario.configuration.validateError;
  return error ? platform::Result<>(std::unexpected(*error)) : platform::Result<>();
}

std::unique_ptr<platform::VirtualMachine> MachineFactory::createMachine(
    const platform::MachineConfiguration& configuration) {
  world_->trace.record("machine.create",
                       JsonMembers().add("configuration", describe(configuration)));
  if (!checkLimits(world_->scenario.host, configuration)) {
    world_->unmodelled("a machine was made of a configuration that is not valid");
  }
  return std::make_unique<Machine>(world_, configuration);
}

}  // namespace parlen::simulated
