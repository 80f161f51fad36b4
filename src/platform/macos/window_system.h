#pragma once

#include <memory>

#include "platform/window_system.h"

namespace parlen::macos {

/// Windows, menus and key events of AppKit, which needs a window server. What AppKit fails to do
/// goes to `warn`. Null if AppKit does not make this process an application. Main thread.
std::unique_ptr<platform::WindowSystem> makeWindowSystem(platform::WarningSink warn);

}  // namespace parlen::macos
