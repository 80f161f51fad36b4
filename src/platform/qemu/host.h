#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "platform/error.h"
#include "platform/event_loop.h"
#include "platform/gtk/module.h"
#include "platform/host.h"
#include "platform/linux/event_loop.h"
#include "platform/posix/descriptor.h"
#include "platform/qemu/handles.h"
#include "platform/qemu/restoration.h"
#include "platform/window_system.h"

namespace parlen::qemu {

/// What this computer offers to guests.
class Capabilities : public platform::HostCapabilities {
 public:
  /// `warn` gets a sentence about what is missing for guests to run.
  explicit Capabilities(platform::WarningSink warn) : warn_(std::move(warn)) {}

  bool isSupported() override;
  std::int64_t processorCount() override;
  platform::MachineLimits limits() override;

 private:
  platform::WarningSink warn_;
};

/// Machines whose handles come from this host.
class MachineFactory : public platform::MachineFactory {
 public:
  /// `console`: see installedEmulator.
  MachineFactory(linux::EventLoop& loop, platform::WarningSink warn,
                 platform::HostCapabilities& capabilities, std::optional<int> console);

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
  linux::EventLoop& loop_;
  platform::WarningSink warn_;
  platform::HostCapabilities& capabilities_;
  std::optional<int> console_;
};

/// A process without windows, which no desktop knows.
class HeadlessApplication : public platform::Application {
 public:
  explicit HeadlessApplication(platform::EventLoop& loop) : loop_(loop) {}

  void setActivationPolicy(platform::ActivationPolicy) override {}
  void disableAutomaticTermination(std::string_view) override {}
  void setQuitHandler(platform::Work) override {}
  platform::Result<> run() override { return loop_.run(); }

 private:
  platform::EventLoop& loop_;
};

/// Runs guests on QEMU. Construction probes nothing; each part is made when it is first asked for.
class Host : public platform::Host {
 public:
  /// `reserveOutput` runs before the window module is loaded, whose libraries may print. `console`
  /// is an open file for the first serial port of the guests, or none; then they have no such port.
  Host(linux::EventLoop& loop, platform::WarningSink warn, platform::Work reserveOutput,
       posix::Descriptor console = posix::Descriptor());

  platform::HostCapabilities& capabilities() override { return capabilities_; }
  platform::GuestIdentities& identities() override { return identities_; }
  platform::MachineFactory& machines() override;
  platform::Restoration& restoration() override;
  platform::Application& application() override { return application_; }
  platform::Result<platform::WindowSystem*> windowSystem() override;

 private:
  linux::EventLoop& loop_;
  platform::WarningSink warn_;
  platform::Work reserveOutput_;
  posix::Descriptor console_;
  Capabilities capabilities_;
  Identities identities_;
  HeadlessApplication application_;
  std::optional<MachineFactory> machines_;
  std::optional<Restoration> restoration_;
  std::unique_ptr<gtk::WindowSystem> desktop_;
};

}  // namespace parlen::qemu
