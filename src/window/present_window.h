#pragma once

#include <memory>
#include <string>

#include "platform/window_system.h"

namespace parlen {

/// Puts `machine` on screen in a plain window that is the user's to close, and sets `inputDriver`
/// to type into it. The window is on screen for as long as the caller keeps it. Main thread.
[[nodiscard]] std::unique_ptr<platform::Window> presentWindow(platform::WindowSystem& windows,
                                                              platform::VirtualMachine& machine,
                                                              const std::string& title);

}  // namespace parlen
