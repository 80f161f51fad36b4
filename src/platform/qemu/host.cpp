#include "platform/qemu/host.h"

#include <utility>

#include "platform/qemu/display_connection.h"
#include "platform/qemu/window_module.h"

namespace parlen::qemu {

Host::Host(linux::Loop& loop, platform::WarningSink warn, platform::Work reserveOutput)
    : loop_(loop),
      warn_(std::move(warn)),
      reserveOutput_(std::move(reserveOutput)),
      application_(loop) {}

platform::MachineFactory& Host::machines() {
  if (!machines_) machines_.emplace(loop_, warn_, capabilities_);
  return *machines_;
}

platform::Restoration& Host::restoration() {
  if (!restoration_) restoration_.emplace(loop_);
  return *restoration_;
}

platform::Result<platform::WindowSystem*> Host::windowSystem() {
  if (!desktop_) {
    reserveOutput_();
    auto opened = openDesktop(readDisplayNames(), {loop_, warn_, connectDisplay});
    if (!opened) return std::unexpected(std::move(opened).error());
    desktop_ = *std::move(opened);
  }
  if (desktop_->isLost()) {
    return std::unexpected(platform::PlatformError{
        .domain = std::string(gtk::errorDomain), .code = 1, .description = "the display is gone"});
  }
  return desktop_.get();
}

}  // namespace parlen::qemu
