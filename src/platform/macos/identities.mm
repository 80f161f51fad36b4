#import "platform/macos/identities.h"

#import "platform/macos/bridge.h"
#import "platform/macos/objc_handles.h"

namespace parlen::macos {

std::string HardwareModel::dataRepresentation() const {
  return fromData(object().dataRepresentation);
}

bool HardwareModel::isSupported() const { return object().isSupported; }

std::string MachineIdentifier::dataRepresentation() const {
  return fromData(object().dataRepresentation);
}

// The initialisers from data return nil, without an error, for bytes that they do not know.

std::shared_ptr<const platform::HardwareModel> Identities::hardwareModel(std::string_view bytes) {
  return wrapped<HardwareModel>(
      [[VZMacHardwareModel alloc] initWithDataRepresentation:toData(bytes)]);
}

std::shared_ptr<const platform::MachineIdentifier> Identities::machineIdentifier(
    std::string_view bytes) {
  return wrapped<MachineIdentifier>(
      [[VZMacMachineIdentifier alloc] initWithDataRepresentation:toData(bytes)]);
}

std::shared_ptr<const platform::MachineIdentifier> Identities::newMachineIdentifier() {
  return wrapped<MachineIdentifier>([[VZMacMachineIdentifier alloc] init]);
}

platform::MacAddress Identities::randomMacAddress() {
  NSString* text = [VZMACAddress randomLocallyAdministeredAddress].string;
  return platform::parseMacAddress(fromText(text)).value();
}

}  // namespace parlen::macos
