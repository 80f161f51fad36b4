#pragma once

#include <gdk/gdk.h>

#include <optional>

#include "platform/gtk/screen_space.h"

namespace parlen::gtk {

/// The screen that the promise's space is measured from. Without a primary one it is the first, and
/// without any an empty one.
ScreenRect mainScreen();

/// The part of the main screen that windows may use; nothing if there is no screen.
std::optional<platform::Rect> mainVisibleFrame();

/// The same of the screen that shows most of `window`.
std::optional<platform::Rect> visibleFrameAt(GdkWindow* window);

}  // namespace parlen::gtk
