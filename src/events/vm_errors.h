#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/error.h"

namespace parlen {

/// The code for an error that the virtualization platform reported: vm-limit or boot-failed.
std::string_view vmErrorCode(const platform::PlatformError& error);

/// Words for a machine's raw execution state that read well after "the VM is ".
std::string describeVMState(std::int64_t state);

}  // namespace parlen
