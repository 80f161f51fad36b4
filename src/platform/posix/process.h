#pragma once

#include "platform/process.h"

namespace parlen::posix {

/// How this process ends. What differs between systems is left to derived classes.
class Process : public platform::Process {
 public:
  void failTooLongWrites() final;

 private:
  [[noreturn]] void endWith(int status) final;
  [[noreturn]] void endInTrap() final;
};

/// Before a child is started: from now on the system keeps how children end until this process
/// asks. Where SIGCHLD is ignored, as a parent may have left it, it would discard that.
void keepExitStatuses();

/// Gives every signal its default action and unblocks it: for a forked child before its exec, which
/// would hand on what the parent ignores or blocks. Async-signal-safe.
void resetSignals();

}  // namespace parlen::posix
