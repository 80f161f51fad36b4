#pragma once

#import <Virtualization/Virtualization.h>

#include <memory>

#include "platform/machine_configuration.h"

namespace parlen::macos {

/// What the framework owns and the program only passes on: `Promise` to the program, `Object` to
/// the framework. The class of a handle's own gives it the promise's calls, if there are any.
template <class Promise, class Object>
class Handle : public Promise {
 public:
  explicit Handle(Object* object) : object_(object) {}
  Object* object() const { return object_; }

 private:
  Object* object_;
};

class HardwareModel final : public Handle<platform::HardwareModel, VZMacHardwareModel> {
 public:
  using Handle::Handle;
  std::string dataRepresentation() const override;
  bool isSupported() const override;
};

class MachineIdentifier final : public Handle<platform::MachineIdentifier, VZMacMachineIdentifier> {
 public:
  using Handle::Handle;
  std::string dataRepresentation() const override;
};

using AuxiliaryStorage = Handle<platform::AuxiliaryStorage, VZMacAuxiliaryStorage>;
using DiskAttachment = Handle<platform::DiskAttachment, VZDiskImageStorageDeviceAttachment>;

/// A handle around `object`; null for nil.
template <class Made, class Object>
std::shared_ptr<const Made> wrapped(Object* object) {
  if (object == nil) return nullptr;
  return std::make_shared<Made>(object);
}

inline VZMacHardwareModel* opened(const platform::HardwareModel& model) {
  return static_cast<const HardwareModel&>(model).object();
}

inline VZMacMachineIdentifier* opened(const platform::MachineIdentifier& identifier) {
  return static_cast<const MachineIdentifier&>(identifier).object();
}

inline VZMacAuxiliaryStorage* opened(const platform::AuxiliaryStorage& storage) {
  return static_cast<const AuxiliaryStorage&>(storage).object();
}

inline VZDiskImageStorageDeviceAttachment* opened(const platform::DiskAttachment& attachment) {
  return static_cast<const DiskAttachment&>(attachment).object();
}

}  // namespace parlen::macos
