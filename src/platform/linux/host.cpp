#include "platform/linux/host.h"

#include <utility>

namespace parlen::qemu {

QemuHost::QemuHost(posix::Loop& loop, platform::WarningSink warn)
    : loop_(loop), warn_(std::move(warn)), application_(loop) {}

platform::MachineFactory& QemuHost::machines() {
  if (!machines_) machines_.emplace(loop_, warn_, capabilities_);
  return *machines_;
}

platform::Restoration& QemuHost::restoration() {
  if (!restoration_) restoration_.emplace(loop_);
  return *restoration_;
}

}  // namespace parlen::qemu
