#pragma once

#include <memory>
#include <string>

#include "platform/window_system.h"

/// The window that shows a guest: what a run with a window and a headless run have in common, and
/// the window of a run with one. Main thread.
namespace parlen {

/// Makes a view of the guest's display at its natural size. The guest's picture is scaled to the
/// view; the guest never gets another resolution. The view takes all keys for the guest, also the
/// host's own key combinations. `machine` must outlive the view.
std::shared_ptr<platform::MachineView> makeGuestView(platform::WindowSystem& windows,
                                                     platform::VirtualMachine& machine);

/// Makes a window that can be closed, minimized and resized, with room for such a view. It is on
/// no screen yet.
std::unique_ptr<platform::Window> makeGuestWindow(platform::WindowSystem& windows);

/// Sizes the window to fit its screen (the main screen while it is on none), centres it there (see
/// guestWindowFrame) and fixes the proportions of its content, also for a user who resizes it.
/// Without a screen the content gets the guest's natural size and the window is not moved.
void placeGuestWindow(platform::Window& window, const platform::WindowSystem& windows);

/// Shows `machine` in a window that the user may close, and sets `inputDriver` to type into it.
/// The window is on screen until the caller destroys it. `machine` must outlive it.
[[nodiscard]] std::unique_ptr<platform::Window> presentWindow(platform::WindowSystem& windows,
                                                              platform::VirtualMachine& machine,
                                                              const std::string& title);

}  // namespace parlen
