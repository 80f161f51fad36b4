#pragma once

#include <memory>
#include <vector>

#include "platform/process.h"
#include "runner/vm_runner.h"

namespace parlen {

/// The signal sources of a run, kept until the process ends.
extern std::vector<std::unique_ptr<platform::SignalSource>> terminationSources;

/// From now on SIGTERM and SIGINT stop the runner's machine hard, whatever it is doing. `runner`
/// must live as long as the process.
void installTerminationHandlers(VMRunner& runner);

}  // namespace parlen
