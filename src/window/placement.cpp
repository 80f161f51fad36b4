#include "window/placement.h"

#include <optional>

#include "platform/machine_configuration.h"
#include "window/geometry.h"

namespace parlen {

void placeGuestWindow(platform::Window& window, const platform::WindowSystem& windows) {
  constexpr platform::Size guest{vmDisplayWidth, vmDisplayHeight};
  std::optional<platform::Rect> visible = window.screenVisibleFrame();
  if (!visible) visible = windows.mainScreenVisibleFrame();
  if (visible) {
    const platform::Rect frame = window.frame();
    const double chrome = frame.height - window.contentRectForFrameRect(frame).height;
    window.setFrame(guestWindowFrame(guest, 1, *visible, chrome).frame, platform::Redraw::atOnce);
  } else {
    window.setContentSize(guest);
  }
  window.setContentAspectRatio(guest);
}

}  // namespace parlen
