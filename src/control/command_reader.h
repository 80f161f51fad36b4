#pragma once

#include <memory>

#include "runner/vm_runner.h"

namespace parlen {

/// Starts reading standard input: each complete line is carried out as a command to `runner`, and
/// the end of input asks it to stop. Does not keep the runner alive. Once per run, main thread. The
/// error says why standard input cannot be read.
platform::Result<> readCommands(const std::shared_ptr<VMRunner>& runner);

}  // namespace parlen
