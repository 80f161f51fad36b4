#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/error.h"
#include "platform/linux/event_loop.h"

namespace parlen::linux {

/// How a child ended: it exited with a status, or a signal ended it.
struct ChildExit {
  std::optional<int> status;
  int signal = 0;  // when there is no status
};

struct ChildOptions {
  std::string program;                 // a path, or a name for findProgram
  std::vector<std::string> arguments;  // without the program itself
  /// {descriptor in the child, descriptor here}. Those not listed are closed in the child, except
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

/// Starts a child, with default signal dispositions and an empty signal mask. The error is a
/// failure to start it, exec's included; there is then no child. `onExit` runs once, on the main
/// queue, when the child has ended, and may destroy it. Main thread.
platform::Result<std::unique_ptr<ChildProcess>> spawnChild(EventLoop& loop,
                                                           const ChildOptions& options,
                                                           std::function<void(ChildExit)> onExit);

/// The same, but waits for the child's end. Runs no loop meanwhile.
platform::Result<ChildExit> runChildToEnd(const ChildOptions& options);

/// Whether `test` returns true within `limit`, in a forked child: it may crash there, or hang. It
/// may only make async-signal-safe calls. Waits for the child, up to a second longer if it hangs.
/// Main thread.
bool holdsInChild(bool (*test)(), std::chrono::milliseconds limit);

}  // namespace parlen::linux
