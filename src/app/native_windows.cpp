#include "app/native_windows.h"

#include <utility>

namespace parlen {
namespace {

class TwoHosts final : public platform::Host {
 public:
  TwoHosts(std::unique_ptr<platform::Host> machines, std::unique_ptr<platform::Host> windows)
      : machines_(std::move(machines)), windows_(std::move(windows)) {}

  platform::HostCapabilities& capabilities() override { return machines_->capabilities(); }
  platform::GuestIdentities& identities() override { return machines_->identities(); }
  platform::MachineFactory& machines() override { return machines_->machines(); }
  platform::Restoration& restoration() override { return machines_->restoration(); }
  platform::Application& application() override { return windows_->application(); }
  platform::Result<platform::WindowSystem*> windowSystem() override {
    return windows_->windowSystem();
  }

 private:
  std::unique_ptr<platform::Host> machines_;
  std::unique_ptr<platform::Host> windows_;
};

}  // namespace

std::unique_ptr<platform::Host> withWindowsOf(std::unique_ptr<platform::Host> machines,
                                              std::unique_ptr<platform::Host> windows) {
  return std::make_unique<TwoHosts>(std::move(machines), std::move(windows));
}

}  // namespace parlen
