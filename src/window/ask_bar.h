#pragma once

#include <functional>

#include "platform/window_system.h"

namespace parlen {

/// What the two buttons of the bar do; each runs once for each press.
struct AskBarActions {
  std::function<void()> later;
  std::function<void()> done;
};

/// The bar under the title of a headless guest's window: icon, title above detail, room, "Later"
/// and "Done". Long texts are truncated and never widen it, and no key presses a button: the keys
/// are the guest's.
platform::TitlebarAccessory askBar(AskBarActions actions);

}  // namespace parlen
