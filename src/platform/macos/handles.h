#pragma once

#import <Virtualization/Virtualization.h>

#include <memory>

#include "platform/machine_configuration.h"
#import "platform/macos/bridge.h"

namespace parlen::macos {

/// An object of the framework that the program only passes on: an `Interface` to the program, an
/// `Object` to the framework. A subclass adds the interface's calls where it has any.
template <class Interface, class Object>
class Handle : public Interface {
 public:
  explicit Handle(Object* object) : object_(object) {}
  Object* object() const { return object_; }

 private:
  Object* object_;
};

class HardwareModel final : public Handle<platform::HardwareModel, VZMacHardwareModel> {
 public:
  using Handle::Handle;
  std::string dataRepresentation() const override { return fromData(object().dataRepresentation); }
  bool isSupported() const override { return object().isSupported; }
};

class MachineIdentifier final : public Handle<platform::MachineIdentifier, VZMacMachineIdentifier> {
 public:
  using Handle::Handle;
  std::string dataRepresentation() const override { return fromData(object().dataRepresentation); }
};

using AuxiliaryStorage = Handle<platform::AuxiliaryStorage, VZMacAuxiliaryStorage>;
using DiskAttachment = Handle<platform::DiskAttachment, VZDiskImageStorageDeviceAttachment>;

/// A handle to `object`; null for nil.
template <class Made, class Object>
std::shared_ptr<const Made> wrap(Object* object) {
  if (object == nil) return nullptr;
  return std::make_shared<Made>(object);
}

// The framework's object behind a handle, which must be one of this host's.

inline VZMacHardwareModel* unwrap(const platform::HardwareModel& model) {
  return static_cast<const HardwareModel&>(model).object();
}

inline VZMacMachineIdentifier* unwrap(const platform::MachineIdentifier& identifier) {
  return static_cast<const MachineIdentifier&>(identifier).object();
}

inline VZMacAuxiliaryStorage* unwrap(const platform::AuxiliaryStorage& storage) {
  return static_cast<const AuxiliaryStorage&>(storage).object();
}

inline VZDiskImageStorageDeviceAttachment* unwrap(const platform::DiskAttachment& attachment) {
  return static_cast<const DiskAttachment&>(attachment).object();
}

}  // namespace parlen::macos
