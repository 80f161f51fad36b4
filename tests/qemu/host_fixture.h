#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/linux/system.h"
#include "platform/qemu/configuration.h"
#include "platform/qemu/guest_platform.h"
#include "platform/qemu/handles.h"
#include "platform/qemu/host.h"
#include "support/machine_story.h"
#include "support/temporary_directory.h"

namespace parlen::qemu {

/// Tests with a real QEMU, whose guest is the firmware: it finds nothing to boot and waits.
class HostTest : public testing::Test {
 protected:
  void SetUp() override;

  linux::EventLoop& loop() { return system_.loop(); }
  platform::Files& files() { return system_.files(); }
  Host& host() { return host_; }
  const std::vector<std::string>& warnings() const { return warnings_; }

  std::string path(const std::string& name) const { return directory_ / name; }
  /// Serves the main queue until `condition` holds; the test fails if that takes too long.
  void runUntil(const std::function<bool()>& condition);

  /// A small machine with an empty disk of its own that counts as installed, its files in `folder`.
  platform::MachineConfiguration makeGuest(const std::string& folder);
  std::unique_ptr<platform::VirtualMachine> machineOf(
      const platform::MachineConfiguration& configuration, test::MachineStory& story);
  std::unique_ptr<platform::VirtualMachine> runningMachine(test::MachineStory& story);

  /// Runs an image tool's command in the test's directory; the test fails if that does.
  void shell(const std::string& command);

 private:
  test::TemporaryDirectory directory_;
  linux::System system_;
  std::vector<std::string> warnings_;
  Host host_{system_.loop(), [this](std::string_view text) { warnings_.emplace_back(text); },
             [] {}};
};

/// The children of a process, this one's by default.
std::vector<int> childrenOf(int pid);
std::vector<int> children();

}  // namespace parlen::qemu
