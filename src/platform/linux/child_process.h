#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/error.h"
#include "platform/linux/loop.h"

namespace parlen::linux {

/// How a child ended: by `exit` with a status, or by a signal.
struct ChildExit {
  std::optional<int> status;
  int signal = 0;  // when there is no status
};

struct ChildOptions {
  std::string program;                 // a path, or a name for findProgram
  std::vector<std::string> arguments;  // without the program itself
  /// {descriptor in the child, descriptor here}. What is not listed is closed in the child, except
  /// that 0, 1 and 2 become /dev/null.
  std::vector<std::pair<int, int>> descriptors;
  bool newSession = false;
  /// Runs in the child just before exec; only async-signal-safe calls. Null: nothing runs.
  void (*beforeExec)(int parent) = nullptr;
};

/// A child that runs beside the loop. Destroying it kills a child that still runs, and reaps it.
class ChildProcess {
 public:
  virtual ~ChildProcess() = default;
  virtual int pid() const = 0;
  /// Sends a signal, unless the child has already been reaped.
  virtual void kill(int signal) = 0;
};

/// Starts a child from the calling (the main) thread. The error is a failure to start it, exec's
/// included. `exited` runs once, on the main queue, within a turn of the child's end. Default
/// signal dispositions and an empty signal mask in the child.
platform::Result<std::unique_ptr<ChildProcess>> spawnChild(Loop& loop, const ChildOptions& options,
                                                           std::function<void(ChildExit)> exited);

}  // namespace parlen::linux
