#pragma once

#include <gdk/gdk.h>

#include <optional>

#include "platform/gtk/screen_space.h"

namespace parlen::gtk {

/// The screen whose bottom-left corner is the origin of the platform's screen space: the primary
/// one, else the first; an empty rectangle if there is none.
ScreenRect mainScreen();

/// The part of the main screen that windows may use; nothing if there is no screen.
std::optional<platform::Rect> mainVisibleFrame();

/// The same for the screen that shows most of `window`.
std::optional<platform::Rect> visibleFrameAt(GdkWindow* window);

}  // namespace parlen::gtk
