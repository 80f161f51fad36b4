#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/host.h"

namespace parlen {

/// Keeps the observation of the installer's progress alive while it runs; null otherwise.
extern std::unique_ptr<platform::ProgressObservation> installProgress;

/// Makes a new bundle at `bundlePath` and installs the guest of the restore image into it. Paths as
/// typed; a disk of `diskGb` GiB. Ends the process: with `created` and status 0, or through `die`;
/// what a failure has made of the bundle so far stays.
[[noreturn]] void createVM(const std::string& ipswPath, const std::string& bundlePath,
                           std::int64_t diskGb);

}  // namespace parlen
