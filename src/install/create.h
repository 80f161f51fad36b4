#pragma once

#include <cstdint>
#include <string>

namespace parlen {

/// Makes a new bundle at `bundlePath` and installs the guest of the restore image into it. Paths as
/// typed; a disk of `diskGb` GiB. Ends the process: with `created` and status 0, or through `die`.
[[noreturn]] void createVM(const std::string& ipswPath, const std::string& bundlePath,
                           std::int64_t diskGb);

}  // namespace parlen
