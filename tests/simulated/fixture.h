#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
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
  /// All that was traced so far.
  std::string trace() { return read("trace"); }
  long long milliseconds();

  TestSystem system_;

 private:
  TemporaryDirectory directory_;
  std::unique_ptr<platform::Host> host_;
  std::chrono::nanoseconds start_ = system_.loop().now();
};

using Story = std::vector<std::string>;

/// A machine that writes down what it tells, with the time and the state it is then in:
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
  /// "asked", or why not.
  std::string requestStop();
  /// Lets the given time go by.
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

/// A desktop with windows on it, and what was traced of them.
class WindowTest : public MachineTest {
 protected:
  platform::WindowSystem& windows() { return *host().windowSystem().value(); }

  /// The view of a machine, which is made for it.
  std::shared_ptr<platform::MachineView> makeView();
  /// A window of a title and all controls, whose content begins at (100, 50) and measures 640 by
  /// 400.
  std::unique_ptr<platform::Window> makeWindow(std::uint64_t styleMask = platform::windowTitled |
                                                                         platform::windowClosable);
  /// The same, with a view for its content.
  std::unique_ptr<platform::Window> makeWindowWith(
      const std::shared_ptr<platform::MachineView>& view);

  /// The calls traced since the last look, each a line without its time: "window.orderOut" and its
  /// members.
  Calls newCalls();
  void forgetCalls() { newCalls(); }

 private:
  std::size_t seen_ = 0;
};

/// The bar's stack around these views.
platform::TitlebarAccessory barOf(std::vector<platform::BarView> views);

}  // namespace parlen::test
