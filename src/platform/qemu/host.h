#pragma once

#include <memory>
#include <optional>

#include "platform/gtk/module.h"
#include "platform/host.h"
#include "platform/linux/loop.h"
#include "platform/qemu/capabilities.h"
#include "platform/qemu/headless_application.h"
#include "platform/qemu/identities.h"
#include "platform/qemu/machine_factory.h"
#include "platform/qemu/restoration.h"

namespace parlen::qemu {

/// Runs guests on QEMU. Making one looks at nothing; each part is made when it is first asked for.
class Host : public platform::Host {
 public:
  /// `reserveOutput` runs before any code is loaded that may print.
  Host(linux::Loop& loop, platform::WarningSink warn, platform::Work reserveOutput);

  platform::HostCapabilities& capabilities() override { return capabilities_; }
  platform::GuestIdentities& identities() override { return identities_; }
  platform::MachineFactory& machines() override;
  platform::Restoration& restoration() override;
  platform::Application& application() override { return application_; }
  platform::Result<platform::WindowSystem*> windowSystem() override;

 private:
  linux::Loop& loop_;
  platform::WarningSink warn_;
  platform::Work reserveOutput_;
  Capabilities capabilities_;
  Identities identities_;
  HeadlessApplication application_;
  std::optional<MachineFactory> machines_;
  std::optional<Restoration> restoration_;
  std::unique_ptr<gtk::Desktop> desktop_;
};

}  // namespace parlen::qemu
