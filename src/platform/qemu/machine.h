#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/machine_configuration.h"
#include "platform/qemu/configuration.h"
#include "platform/qemu/qmp_client.h"
#include "platform/virtual_machine.h"

namespace parlen::qemu {

/// One guest: a QEMU process from its start until the system has reaped it. A machine that is
/// destroyed ends its guest at once and calls nobody any more.
class Machine : public platform::VirtualMachine {
 public:
  Machine(linux::Loop& loop, platform::WarningSink warn,
          platform::MachineConfiguration configuration);

  const platform::MachineConfiguration& configuration() const { return configuration_; }

  /// Gives `socket` the guest's display and keyboard, as soon as the machine has them; closes it
  /// when the machine is over.
  void connectDisplay(linux::Descriptor socket);

  void setDelegate(platform::VirtualMachineDelegate* delegate) override { delegate_ = delegate; }
  std::int64_t state() const override { return static_cast<std::int64_t>(state_); }
  void start(platform::Completion done) override;
  bool canRequestStop() const override { return is(platform::MachineState::running); }
  platform::Result<> requestStop() override;
  void stop(platform::Completion done) override;
  bool canPause() const override { return is(platform::MachineState::running); }
  void pause(platform::Completion done) override;
  bool canResume() const override { return is(platform::MachineState::paused); }
  void resume(platform::Completion done) override;

 private:
  enum class Life { unused, alive, over };  // one machine runs once

  bool is(platform::MachineState state) const { return state_ == state; }
  bool move(platform::MachineState from, platform::MachineState to);

  // Starting.
  platform::Result<> launch();
  Acceleration chooseAcceleration();
  void ready();
  void started(const platform::Result<>& result);
  void addViewer(linux::Descriptor socket);

  // What QEMU says.
  void happened(const QmpEvent& event);
  void diskFailed(const QmpEvent& event);
  void toggled(platform::MachineState to, platform::MachineState back, platform::Result<> result);

  // Ending.
  void pressPowerButton();
  void endSoon();
  void processEnded(const SubprocessExit& exit);
  void ended(const std::optional<std::string>& failure);
  void deliverEnd(const std::optional<std::string>& failure, bool hadStarted);

  void later(platform::Work work);
  void deliver(platform::Completion& completion, platform::Result<> result);

  linux::Loop& loop_;
  platform::WarningSink warn_;
  const platform::MachineConfiguration configuration_;
  platform::VirtualMachineDelegate* delegate_ = nullptr;
  platform::MachineState state_ = platform::MachineState::stopped;
  Life life_ = Life::unused;
  bool powerButtonHeld_ = false;  // pressed, and QEMU has not answered yet
  bool diskFailureTold_ = false;
  std::optional<std::string> shutdownReason_;  // QEMU has announced its end
  bool takesCommands_ = false;
  std::vector<linux::Descriptor> viewers_;  // that came before QEMU took commands
  platform::Completion startDone_;
  std::optional<std::string> startFailure_;  // QEMU runs, but not the guest
  platform::Completion toggleDone_;          // of the pause or the resumption under way
  platform::Completion stopDone_;
  std::unique_ptr<QemuProcess> process_;
  std::shared_ptr<const bool> alive_ = std::make_shared<bool>(true);
};

/// Why a machine that nobody stopped hard has ended: nothing if its guest has shut down and QEMU
/// has ended in order, else a sentence. `shutdownReason` is what QEMU announced before it ended,
/// empty if it announced nothing.
std::optional<std::string> failureOf(const SubprocessExit& end, std::string_view shutdownReason);

/// The same for a machine whose start had not completed.
std::string startFailureOf(const SubprocessExit& end);

}  // namespace parlen::qemu
