#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/host.h"
#include "platform/virtual_machine.h"
#include "platform/window_system.h"
#include "support/temporary_directory.h"
#include "support/test_system.h"

namespace parlen::test {

/// A simulated host on virtual time, with a directory for its files.
class HostTest : public ::testing::Test {
 protected:
  /// Makes the host; the scenario is written to a file first. A trace is always kept.
  void useScenario(const std::string& json);
  platform::Host& host();

  /// A machine whose files are those of an installed guest.
  platform::MachineConfiguration installedGuest();
  /// The same, with a disk of `length` zero bytes.
  platform::MachineConfiguration emptyGuest(std::uint64_t length = 1024);

  void write(const std::string& name, const std::string& bytes);
  std::string read(const std::string& name);
  std::string path(const std::string& name) { return directory_ / name; }
  /// The bytes of the trace file.
  std::string trace() { return read("trace"); }
  long long milliseconds();

  TestSystem system_;
  std::vector<std::string> warnings_;

 private:
  TemporaryDirectory directory_;
  std::unique_ptr<platform::Host> host_;
  std::chrono::nanoseconds start_ = system_.loop().now();
};

using Story = std::vector<std::string>;

/// A machine whose completions and delegate calls are recorded with time (ms) and state:
/// "100 started: running".
class MachineTest : public HostTest, protected platform::VirtualMachineDelegate {
 protected:
  /// Makes a machine of an installed guest.
  void given(const std::string& scenario);
  void use(const platform::MachineConfiguration& configuration);

  void start() { machine_->start(told("started")); }
  void stop() { machine_->stop(told("stopped hard")); }
  void pause() { machine_->pause(told("paused")); }
  void resume() { machine_->resume(told("resumed")); }
  /// "asked", or the description of the error.
  std::string requestStop();
  /// Advances the virtual clock.
  void pass(int milliseconds) { system_.loop().advance(std::chrono::milliseconds(milliseconds)); }
  std::string state() const;

  std::unique_ptr<platform::VirtualMachine> machine_;
  Story story_;

 private:
  platform::Completion told(const std::string& what);
  void note(const std::string& what);
  void guestDidStop() override { note("the guest stopped"); }
  void didStopWithError(const platform::PlatformError& error) override {
    note("stopped with error (" + error.description + ")");
  }
  void networkAttachmentDisconnected(const platform::PlatformError& error) override {
    note("network lost (" + error.description + ")");
  }
};

using Calls = std::vector<std::string>;

/// The window system, and the calls that it traces.
class WindowTest : public MachineTest {
 protected:
  platform::WindowSystem& windows() { return *host().windowSystem().value(); }

  /// The view of a machine; makes a machine if there is none.
  std::shared_ptr<platform::MachineView> makeView();
  /// A window with title and close button. Its content is 640 by 400 at (100, 50).
  std::unique_ptr<platform::Window> makeWindow(std::uint64_t styleMask = platform::windowTitled |
                                                                         platform::windowClosable);
  /// The same, with a view for its content.
  std::unique_ptr<platform::Window> makeWindowWith(
      const std::shared_ptr<platform::MachineView>& view);

  /// The lines traced since the last call, without their times: "window.orderOut" and its members.
  Calls newCalls();
  void forgetCalls() { newCalls(); }

 private:
  std::size_t seen_ = 0;
};

/// The bar's stack around these views.
platform::TitlebarAccessory barOf(std::vector<platform::BarView> views);

}  // namespace parlen::test
