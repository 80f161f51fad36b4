#pragma once

#include <memory>
#include <optional>

#include "platform/host.h"
#include "platform/macos/application.h"
#include "platform/macos/capabilities.h"
#include "platform/macos/identities.h"
#include "platform/macos/machine_factory.h"
#include "platform/macos/restoration.h"

namespace parlen::macos {

/// Runs guests on the virtualization framework and shows them with AppKit. Making one asks neither
/// for anything.
class MacHost final : public platform::Host {
 public:
  explicit MacHost(const platform::WarningSink& warn) : machines_(warn), restoration_(warn) {}

  platform::HostCapabilities& capabilities() override { return capabilities_; }
  platform::GuestIdentities& identities() override { return identities_; }
  platform::MachineFactory& machines() override { return machines_; }
  platform::Restoration& restoration() override { return restoration_; }
  platform::Application& application() override { return application_; }
  platform::Result<platform::WindowSystem*> windowSystem() override;

 private:
  Capabilities capabilities_;
  Identities identities_;
  MachineFactory machines_;
  Restoration restoration_;
  Application application_;
  std::unique_ptr<platform::WindowSystem> windowSystem_;
};

}  // namespace parlen::macos
