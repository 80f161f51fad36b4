#pragma once

#include <string>

#include "events/event_stream.h"

namespace parlen {

/// Copies the bundle at `from` to `to`, which must be no directory, and gives the copy a network
/// address of its own and, on request, an identifier of its own. Paths as typed. Ends the process:
/// with `cloned` and status 0, or through `die`; what a failure has copied so far stays.
[[noreturn]] void cloneVM(const std::string& from, const std::string& to,
                          MachineIdChoice machineId);

}  // namespace parlen
