#pragma once

#include "platform/host.h"

namespace parlen::test {

/// A host that is another one, for tests that replace some of its parts.
class DelegatingHost : public platform::Host {
 public:
  explicit DelegatingHost(platform::Host& host) : host_(host) {}

  platform::HostCapabilities& capabilities() override { return host_.capabilities(); }
  platform::GuestIdentities& identities() override { return host_.identities(); }
  platform::MachineFactory& machines() override { return host_.machines(); }
  platform::Restoration& restoration() override { return host_.restoration(); }
  platform::Application& application() override { return host_.application(); }
  platform::Result<platform::WindowSystem*> windowSystem() override { return host_.windowSystem(); }

 private:
  platform::Host& host_;
};

}  // namespace parlen::test
