#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/virtual_machine.h"
#include "simulated/host_fixture.h"

namespace parlen::test {

using Story = std::vector<std::string>;

/// A machine that writes down what it tells, with the time and the state it is then in:
/// "100 started: running".
class MachineStoryTest : public SimulatedHostTest, protected platform::VirtualMachineDelegate {
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

}  // namespace parlen::test
