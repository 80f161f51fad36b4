#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/event_loop.h"
#include "platform/linux/event_loop.h"
#include "platform/machine_configuration.h"
#include "platform/qemu/qmp_client.h"
#include "platform/virtual_machine.h"

namespace parlen::qemu {

/// Starts a QEMU that runs a machine of the configuration. The error is a failure to start.
using Launcher = std::function<platform::Result<std::unique_ptr<QemuProcess>>(
    const platform::MachineConfiguration&, QemuProcess::Handlers)>;

/// Launches the emulator that is installed; `warn` gets a sentence if it has no acceleration. The
/// configuration's parts are this host's own. `console` is an open file for the guest's first
/// serial port, if it shall have one. `loop` must outlive the processes.
Launcher installedEmulator(linux::EventLoop& loop, platform::WarningSink warn,
                           std::optional<int> console);

/// One guest: a QEMU process from its start until it is reaped. Destroying the machine kills the
/// process and drops the callbacks that have not run.
class Machine : public platform::VirtualMachine {
 public:
  Machine(platform::EventLoop& loop, platform::WarningSink warn,
          platform::MachineConfiguration configuration, Launcher launch);

  const platform::MachineConfiguration& configuration() const { return configuration_; }

  /// Connects an RFB client's `socket` to the guest's display and keyboard, once QEMU has them.
  /// Closes it if the machine has ended.
  void connectDisplay(posix::Descriptor socket);

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
  void onReady(const platform::Result<>& control);
  void refuseStart(const platform::PlatformError& error);
  void onStartReply(const platform::Result<>& result);
  void addViewer(posix::Descriptor socket);

  // Running.
  void onQmpEvent(const QmpEvent& event);
  void onDiskError(const QmpEvent& event);
  void onNetworkLost(const platform::PlatformError& error);
  void followProcessors();
  void changePower(platform::MachineState change, std::string_view command,
                   platform::Completion done);
  void endChange(platform::MachineState change, const platform::Result<>& result);

  // Ending.
  void pressPowerButton();
  void onMonitorClosed();
  void endProcess();
  void onExit(const SubprocessExit& exit);
  void end(const std::optional<std::string>& reason);
  void deliverEnd(const std::optional<std::string>& reason, bool hadStarted);

  platform::Work whileAlive(platform::Work work) const;
  void later(platform::Work work);
  void deliver(platform::Completion& completion, platform::Result<> result);

  platform::EventLoop& loop_;
  platform::WarningSink warn_;
  const platform::MachineConfiguration configuration_;
  Launcher launch_;
  platform::VirtualMachineDelegate* delegate_ = nullptr;
  platform::MachineState state_ = platform::MachineState::stopped;
  Life life_ = Life::unused;
  bool powerButtonHeld_ = false;               // pressed, and QEMU has not answered yet
  bool diskErrorReported_ = false;             // since the last resumption
  bool processorsRun_ = false;                 // by QEMU's last event or reply
  bool resumed_ = false;                       // RESUME has come since the last command
  std::optional<std::string> shutdownReason_;  // QEMU has announced its end
  bool takesCommands_ = false;
  std::vector<posix::Descriptor> viewers_;  // to be added when QEMU takes commands
  platform::Completion startDone_;
  std::optional<std::string> startError_;  // QEMU runs, but cannot start the guest
  bool abandoned_ = false;                 // killed, because it had closed its monitor and ran on
  platform::Completion powerDone_;         // of the pause or resumption in progress
  platform::Completion stopDone_;
  std::unique_ptr<QemuProcess> process_;
  std::shared_ptr<const bool> alive_ = std::make_shared<bool>(true);  // what posted work checks
};

/// Why a machine ended without a call of `stop`: nothing if its guest has shut down and QEMU has
/// exited with status 0, otherwise a sentence. `shutdownReason` is that of the SHUTDOWN event (QEMU
/// qapi/run-state.json, ShutdownCause), empty if there was none.
std::optional<std::string> endError(const SubprocessExit& end, std::string_view shutdownReason);

/// The same for a machine whose start had not completed.
std::string startError(const SubprocessExit& end);

}  // namespace parlen::qemu
