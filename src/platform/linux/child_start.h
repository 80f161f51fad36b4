#pragma once

#include <sys/types.h>

#include "platform/error.h"
#include "platform/linux/child_process.h"

namespace parlen::linux {

/// Forks and executes. The value is the child's id; the caller reaps it. After an error there is no
/// child.
platform::Result<pid_t> startChild(const ChildOptions& options);

/// Waits for the child's end and reaps it.
ChildExit reapChild(pid_t child);

}  // namespace parlen::linux
