#pragma once

#include <memory>

#include "runner/vm_runner.h"

namespace parlen {

/// Starts reading standard input: each complete line is carried out as a command to `runner`, the
/// end of input asks it to stop. Neither keeps the runner alive. Called once a run, on the main
/// thread.
void readCommands(const std::shared_ptr<VMRunner>& runner);

}  // namespace parlen
