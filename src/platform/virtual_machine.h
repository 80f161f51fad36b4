#pragma once

#include <cstdint>

#include "platform/error.h"

namespace parlen::platform {

/// The execution states' raw values. A host may report others.
enum class MachineState : std::int64_t {
  stopped = 0,
  running = 1,
  paused = 2,
  error = 3,
  starting = 4,
  pausing = 5,
  resuming = 6,
  stopping = 7,
  saving = 8,
  restoring = 9,
};

/// Hears what a machine does on its own. Called on the main queue, never from inside a call to the
/// machine.
class VirtualMachineDelegate {
 public:
  virtual ~VirtualMachineDelegate() = default;

  /// The guest's operating system has shut down; the machine is gone, all that it wrote is written.
  virtual void guestDidStop() = 0;
  /// The machine has ended because of an error.
  virtual void didStopWithError(const PlatformError& error) = 0;
  /// A network device has lost its attachment; the machine runs on.
  virtual void networkAttachmentDisconnected(const PlatformError& error) = 0;
};

/// One guest from its start until it is gone. Main thread only; no call waits. Completions run on
/// the main queue in a later turn. Of "the guest stopped", "stopped with an error", a failed start
/// and a completed hard stop, at most one is reported, and only when the machine has ended for
/// good.
class VirtualMachine {
 public:
  virtual ~VirtualMachine() = default;

  /// `delegate` must outlive the machine's callbacks; it is not owned.
  virtual void setDelegate(VirtualMachineDelegate* delegate) = 0;

  /// The raw execution state: a value of MachineState, or one that a later host has added.
  virtual std::int64_t state() const = 0;

  /// Boots the guest.
  virtual void start(Completion done) = 0;

  /// Asks the guest's operating system to shut down. It may take for ever, or ignore it.
  virtual bool canRequestStop() const = 0;
  virtual Result<> requestStop() = 0;

  /// Ends the machine at once, as if its power were cut. Possible in every state but stopped.
  virtual void stop(Completion done) = 0;

  virtual bool canPause() const = 0;
  virtual void pause(Completion done) = 0;
  virtual bool canResume() const = 0;
  virtual void resume(Completion done) = 0;
};

}  // namespace parlen::platform
