#pragma once

#include "platform/window_system.h"

namespace parlen {

/// Gives a guest's window its size and its place in the middle of its screen (the main screen, if
/// it is on none yet) and fixes its content's proportions, also for a user who resizes it. Without
/// any screen the content gets the guest's natural size, and the window stays where it is. Main
/// thread.
void placeGuestWindow(platform::Window& window, const platform::WindowSystem& windows);

}  // namespace parlen
