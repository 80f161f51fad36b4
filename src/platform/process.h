#pragma once

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "platform/error.h"
#include "platform/event_loop.h"

namespace parlen::platform {

/// The signals that ask a process to end.
enum class TerminationSignal { terminate, interrupt };

/// Keeps a signal's handler alive; destroying it ends the delivery, not the ignoring.
class SignalSource {
 public:
  virtual ~SignalSource() = default;
};

/// This process and its children.
class Process {
 public:
  virtual ~Process() = default;

  /// Ends the process at once with `status`. In a test it throws past the caller to the fixture.
  [[noreturn]] void exit(int status) {
    endWith(status);
    std::abort();
  }

  /// Aborts the process: a value broke a limit that the caller had to keep. No event, no status.
  [[noreturn]] void trap() {
    endInTrap();
    std::abort();
  }

  /// From the call on the signal's default action no longer applies; each delivery runs `handler`
  /// on the main queue. Several deliveries before a turn may count as one.
  virtual std::unique_ptr<SignalSource> watchSignal(TerminationSignal signal, Work handler) = 0;

  /// Runs a program with the tool's own standard streams and waits until it has exited. The error
  /// is a failure to start it; there is then no child to wait for. The value is its exit status.
  virtual Result<int> runAndWait(const std::string& program,
                                 const std::vector<std::string>& arguments) = 0;

 private:
  // What hosts implement; neither returns. The calls above stand before them because g++ 12 does
  // not take a virtual call for one that does not return.
  virtual void endWith(int status) = 0;
  virtual void endInTrap() = 0;
};

}  // namespace parlen::platform
