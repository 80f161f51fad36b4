#pragma once

#include <memory>

#include "platform/window_system.h"

namespace parlen::macos {

/// AppKit's windows.
std::unique_ptr<platform::WindowSystem> makeWindowSystem();

}  // namespace parlen::macos
