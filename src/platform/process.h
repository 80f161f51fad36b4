#pragma once

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "platform/error.h"
#include "platform/event_loop.h"

namespace parlen::platform {

/// The signals that ask a process to end: SIGTERM and SIGINT.
enum class TerminationSignal { terminate, interrupt };

/// Keeps a signal's handler installed. Destroying it ends the calls; the signal is ignored from
/// then on. Main thread.
class SignalSource {
 public:
  virtual ~SignalSource() = default;
};

/// This process and its children. Main thread, except `exit` and `trap`.
class Process {
 public:
  virtual ~Process() = default;

  /// Ends the process at once with exit status `status`. In a test it throws an exception that the
  /// fixture catches. Any thread.
  [[noreturn]] void exit(int status) {
    endWith(status);
    std::abort();
  }

  /// Aborts the process because a value is outside the range that its caller had to keep. Writes
  /// no event and has no exit status. Any thread.
  [[noreturn]] void trap() {
    endInTrap();
    std::abort();
  }

  /// Replaces the signal's default action: from now on each delivery runs `onSignal` on the main
  /// queue. Several deliveries within one loop iteration may count as one. After an error, which
  /// means that the process can have no further descriptor, the default action stays.
  virtual Result<std::unique_ptr<SignalSource>> watchSignal(TerminationSignal signal,
                                                            Work onSignal) = 0;

  /// From now on a write beyond the longest length that the system lets this process give a file
  /// fails as any other does. Before, it ends the process. Children are not affected.
  virtual void failTooLongWrites() = 0;

  /// Runs `program` with the tool's own standard streams, no signal blocked and the default action
  /// for each, and blocks until it has exited. The value is its exit status, 128 plus the signal's
  /// number if one ended it. It is an error only if the program cannot be started.
  virtual Result<int> runAndWait(const std::string& program,
                                 const std::vector<std::string>& arguments) = 0;

 private:
  // What a host implements; neither returns. The calls above are not virtual themselves because
  // g++ 12 ignores [[noreturn]] on a virtual call.
  virtual void endWith(int status) = 0;
  virtual void endInTrap() = 0;
};

}  // namespace parlen::platform
