#pragma once

#include <memory>

#include "platform/platform.h"

namespace parlen::macos {

/// The operating system's services through Foundation and libdispatch. Makes sure that descriptors
/// 0, 1 and 2 are open, so that no file that is opened later is ever taken for a standard stream.
std::unique_ptr<platform::System> makeSystem();

}  // namespace parlen::macos
