#pragma once

#include <cstdint>

#include "platform/error.h"

namespace parlen::platform {

/// The execution states of a machine. Source of the values: VZVirtualMachineState of the
/// Virtualization framework. A newer version may report others.
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

/// Is told what a machine does by itself. Called on the main queue, never from inside a call to the
/// machine. Source of the events: VZVirtualMachineDelegate.
class VirtualMachineDelegate {
 public:
  virtual ~VirtualMachineDelegate() = default;

  /// The guest's operating system has shut down. The machine has ended, and all that the guest
  /// wrote is in its disk images.
  virtual void guestDidStop() = 0;
  /// The machine has ended because of `error`.
  virtual void didStopWithError(const PlatformError& error) = 0;
  /// A network device has lost its attachment to the host's network. The machine keeps running.
  virtual void networkAttachmentDisconnected(const PlatformError& error) = 0;
};

/// One guest, from its start to its end. Main thread. No call blocks. Each completion runs exactly
/// once, on the main queue, in a later loop iteration. The end of a machine is reported at most
/// once and only when it is final: as `guestDidStop`, as `didStopWithError`, as the error of
/// `start` or as the success of `stop`. A start or a stop that could only report it a second time
/// never completes, and nothing is reported once the machine has been destroyed.
class VirtualMachine {
 public:
  virtual ~VirtualMachine() = default;

  /// Not owned; must outlive the machine. Null: nobody is told.
  virtual void setDelegate(VirtualMachineDelegate* delegate) = 0;

  /// The execution state: a value of MachineState, or one that a newer framework has added.
  virtual std::int64_t state() const = 0;

  /// Boots the guest. `onDone` gets the result as soon as the guest's processors run, not when its
  /// operating system is up.
  virtual void start(Completion onDone) = 0;

  /// Whether the state allows `requestStop`.
  virtual bool canRequestStop() const = 0;
  /// Asks the guest's operating system to shut down. The guest may take any time, or ignore it.
  virtual Result<> requestStop() = 0;

  /// Ends the machine at once, as if its power were cut. An error in the state `stopped`.
  virtual void stop(Completion onDone) = 0;

  /// Whether the state allows `pause`. Not while a pause or a resumption is in progress: the state
  /// is then `pausing` or `resuming`.
  virtual bool canPause() const = 0;
  /// Stops the guest's processors and keeps its memory.
  virtual void pause(Completion onDone) = 0;

  /// Whether the state allows `resume`; see `canPause`.
  virtual bool canResume() const = 0;
  /// Lets a paused guest continue.
  virtual void resume(Completion onDone) = 0;
};

}  // namespace parlen::platform
