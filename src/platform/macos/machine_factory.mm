#import "platform/macos/machine_factory.h"

#import "platform/macos/bridge.h"
#import "platform/macos/handles.h"
#import "platform/macos/objc_configuration.h"
#import "platform/macos/objc_machine.h"

namespace parlen::macos {

using platform::Result;

std::shared_ptr<const platform::AuxiliaryStorage> MachineFactory::openAuxiliaryStorage(
    const std::string& path) {
  // -initWithContentsOfURL: is the older name of the same call. Neither tells of a missing file.
  return wrap<AuxiliaryStorage>([[VZMacAuxiliaryStorage alloc] initWithURL:toFileUrl(path)]);
}

Result<std::shared_ptr<const platform::AuxiliaryStorage>> MachineFactory::createAuxiliaryStorage(
    const std::string& path, const platform::HardwareModel& model) {
  NSError* error = nil;
  // Without options, a file that is there already is an error.
  VZMacAuxiliaryStorage* storage =
      [[VZMacAuxiliaryStorage alloc] initCreatingStorageAtURL:toFileUrl(path)
                                                hardwareModel:unwrap(model)
                                                      options:0
                                                        error:&error];
  if (storage == nil) return failure(error, warn_);
  return wrap<AuxiliaryStorage>(storage);
}

Result<std::shared_ptr<const platform::DiskAttachment>> MachineFactory::attachDisk(
    const std::string& path, bool readOnly) {
  NSError* error = nil;
  VZDiskImageStorageDeviceAttachment* attachment =
      [[VZDiskImageStorageDeviceAttachment alloc] initWithURL:toFileUrl(path)
                                                     readOnly:readOnly
                                                        error:&error];
  if (attachment == nil) return failure(error, warn_);
  return wrap<DiskAttachment>(attachment);
}

std::string MachineFactory::automountTag() {
  return fromText(VZVirtioFileSystemDeviceConfiguration.macOSGuestAutomountTag);
}

Result<> MachineFactory::validate(const platform::MachineConfiguration& configuration) {
  NSError* error = nil;
  if (![toConfiguration(configuration) validateWithError:&error]) return failure(error, warn_);
  return {};
}

std::unique_ptr<platform::VirtualMachine> MachineFactory::createMachine(
    const platform::MachineConfiguration& configuration) {
  // Without a queue of its own the machine lives on the main queue. The framework copies the
  // configuration.
  return std::make_unique<Machine>(
      [[VZVirtualMachine alloc] initWithConfiguration:toConfiguration(configuration)], warn_);
}

}  // namespace parlen::macos
