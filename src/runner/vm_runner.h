#pragma once

#include <chrono>
#include <memory>

#include "platform/virtual_machine.h"

namespace parlen {

/// One machine for the length of a run: starts it, carries out what the parent and the signals ask
/// for, and decides how it ended. Outcomes are events; every end of the machine ends the process,
/// right after the one `stopped` event. Main thread only.
class VMRunner : public platform::VirtualMachineDelegate {
 public:
  /// Takes the machine over and becomes its delegate.
  explicit VMRunner(std::unique_ptr<platform::VirtualMachine> virtualMachine);
  VMRunner(const VMRunner&) = delete;
  VMRunner& operator=(const VMRunner&) = delete;
  ~VMRunner() override;

  platform::VirtualMachine& machine() const { return *virtualMachine_; }

  /// Boots the guest. Called once.
  void start();
  /// Instead of start(), for a machine that cannot be shown: ends the run as a failed start, from
  /// the main queue. A signal that has come by then ends it as a hard stop; commands are not taken
  /// any more.
  void abandonStart(const platform::PlatformError& error);
  /// The orderly stop: asks the guest to shut down and waits without limit; where it cannot be
  /// asked, the machine is stopped hard. Only the first call counts.
  void requestStop();
  /// Stops the machine at once, also while an orderly stop waits for the guest.
  void forceStop();
  void pauseGuest();
  void resumeGuest();
  /// Whether a command can still have an effect; if not, it is to be dropped.
  bool takesCommands() const { return !startAbandoned_; }

  void guestDidStop() override;
  void didStopWithError(const platform::PlatformError& error) override;
  void networkAttachmentDisconnected(const platform::PlatformError& error) override;

 private:
  void startCompleted(const platform::Result<>& result);

  std::unique_ptr<platform::VirtualMachine> virtualMachine_;
  bool stopping_ = false;              // a stop was requested; never becomes false again
  std::chrono::nanoseconds bootedAt_;  // counts from construction, the start-up included
  bool sawRunning_ = false;            // the start completed
  bool startAbandoned_ = false;
};

}  // namespace parlen
