#include "platform/qemu/host.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "platform/linux/error.h"
#include "platform/linux/socket_pair.h"
#include "platform/linux/system.h"
#include "platform/platform.h"
#include "platform/posix/files.h"
#include "platform/qemu/configuration.h"
#include "platform/qemu/error.h"
#include "platform/qemu/guest_platform.h"
#include "platform/qemu/machine.h"
#include "platform/qemu/window_module.h"

namespace parlen::qemu {
namespace {

using platform::Result;

/// In bytes; 0 if it is not known.
std::uint64_t hostMemory() {
  const long pages = ::sysconf(_SC_PHYS_PAGES);
  const long pageSize = ::sysconf(_SC_PAGESIZE);
  if (pages <= 0 || pageSize <= 0) return 0;
  return static_cast<std::uint64_t>(pages) * static_cast<std::uint64_t>(pageSize);
}

/// A gtk::ConnectDisplay.
std::optional<posix::Descriptor> connectDisplay(platform::VirtualMachine& machine) {
  auto* ours = dynamic_cast<Machine*>(&machine);
  if (ours == nullptr) return std::nullopt;
  auto sockets = linux::makeSocketPair();
  if (!sockets) return posix::Descriptor();
  ours->connectDisplay(std::move(sockets->theirs));
  return std::move(sockets->ours);
}

}  // namespace

bool Capabilities::isSupported() {
  const auto platform = newGuestPlatform(thisHost());
  if (!platform) warn_(platform.error().description);
  return platform.has_value();
}

std::int64_t Capabilities::processorCount() {
  return std::max(1L, ::sysconf(_SC_NPROCESSORS_ONLN));
}

platform::MachineLimits Capabilities::limits() { return limitsFor(processorCount(), hostMemory()); }

MachineFactory::MachineFactory(linux::EventLoop& loop, platform::WarningSink warn,
                               platform::HostCapabilities& capabilities, std::optional<int> console)
    : loop_(loop), warn_(std::move(warn)), capabilities_(capabilities), console_(console) {}

std::shared_ptr<const platform::AuxiliaryStorage> MachineFactory::openAuxiliaryStorage(
    const std::string& path) {
  return std::make_shared<AuxiliaryStorage>(path);
}

Result<std::shared_ptr<const platform::AuxiliaryStorage>> MachineFactory::createAuxiliaryStorage(
    const std::string& path, const platform::HardwareModel& model) {
  const auto* ours = dynamic_cast<const HardwareModel*>(&model);
  if (ours == nullptr || !ours->isSupported()) {
    return error("this host does not know the hardware model");
  }
  if (auto created = qemu::createAuxiliaryStorage(path, ours->platform()->firmware); !created) {
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
  return std::make_unique<Machine>(loop_, warn_, configuration,
                                   installedEmulator(loop_, warn_, console_));
}

Host::Host(linux::EventLoop& loop, platform::WarningSink warn, platform::Work reserveOutput,
           posix::Descriptor console)
    : loop_(loop),
      warn_(std::move(warn)),
      reserveOutput_(std::move(reserveOutput)),
      console_(std::move(console)),
      capabilities_(warn_),
      identities_(warn_),
      application_(loop) {}

platform::MachineFactory& Host::machines() {
  if (!machines_) {
    machines_.emplace(loop_, warn_, capabilities_,
                      console_ ? std::optional(console_.get()) : std::nullopt);
  }
  return *machines_;
}

platform::Restoration& Host::restoration() {
  if (!restoration_) restoration_.emplace(loop_, warn_);
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
    return platform::error(gtk::errorDomain, 1, "the display is gone");
  }
  return desktop_.get();
}

}  // namespace parlen::qemu

namespace parlen::platform {
namespace {

class LinuxPlatform final : public NativePlatform {
 public:
  System& system() override { return system_; }
  std::string_view hostName() const override { return "qemu"; }
  bool showsForeignMachines() const override { return true; }  // a test picture
  std::unique_ptr<Host> makeHost(WarningSink warn) override {
    return std::make_unique<qemu::Host>(
        system_.loop(), std::move(warn), [this] { system_.streams().reserveOutput(); },
        std::move(console_));
  }
  Result<> openConsole(const std::string& path) override {
    console_ = posix::openForAppending(path);
    if (!console_) return linux::error("create the file " + path, errno);
    return {};
  }

 private:
  linux::System system_;
  posix::Descriptor console_;  // until a host is made
};

}  // namespace

std::unique_ptr<NativePlatform> makeNativePlatform() { return std::make_unique<LinuxPlatform>(); }

}  // namespace parlen::platform
