#pragma once

#include <memory>

#include "platform/platform.h"

namespace parlen::macos {

/// The operating system's services through Foundation and libdispatch. Opens descriptors 0, 1 and 2
/// if they are closed, so that no file opened later is taken for a standard stream.
std::unique_ptr<platform::System> makeSystem();

}  // namespace parlen::macos
