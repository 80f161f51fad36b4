#pragma once

#include <string>

#include "events/event_stream.h"

namespace parlen {

/// Copies the bundle at `from` to `to`, where no directory may be, and gives the copy a new network
/// address and, on request, a new machine identifier. Paths as typed. Ends the process: with
/// `cloned` and status 0, or through `die`; what was copied before a failure stays.
[[noreturn]] void cloneVM(const std::string& from, const std::string& to,
                          MachineIdChoice machineId);

}  // namespace parlen
