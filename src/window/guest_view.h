#pragma once

#include <memory>

#include "platform/window_system.h"

namespace parlen {

// What the windows of both kinds of run, headless and with a window from the start, have in common.

/// A view that shows `machine` at its display's natural size, later scaled and never reconfigured,
/// and that takes all keys for it, the host's own combinations included.
std::shared_ptr<platform::MachineView> makeGuestView(platform::WindowSystem& windows,
                                                     platform::VirtualMachine& machine);

/// An ordinary window with room for such a view, on no screen yet.
std::unique_ptr<platform::Window> makeGuestWindow(platform::WindowSystem& windows);

}  // namespace parlen
