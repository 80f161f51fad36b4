#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "platform/window_system.h"

namespace parlen {

/// What the two buttons of the bar do; each runs on the main thread, once for each press.
struct AskBarActions {
  std::function<void()> onLater;
  std::function<void()> onDone;
};

/// The bar under the title of a headless guest's window, from left to right: icon, title above
/// detail, flexible space, "Later" and "Done". Texts that are too long are truncated and do not
/// widen the window. No key presses a button: all keys go to the guest.
platform::TitlebarAccessory askBar(AskBarActions actions);

/// The window of a headless guest: shown and hidden when the parent asks for it, with the parent's
/// two texts and two buttons in a bar. What the user does is told as `window-action` events; only
/// the close button also hides the window. Once built, the window is kept for the rest of the
/// process. The two texts live in the window system. Main thread.
class GuestWindowController : public platform::WindowDelegate {
 public:
  /// The guest to show, set by a headless run; not owned. Without one there is nothing to show.
  platform::VirtualMachine* virtualMachine = nullptr;

  /// Brings the guest on screen under these texts. A window that is there already keeps its place.
  /// If the desktop cannot be opened, that is a warning and nothing else.
  void show(const std::string& title, const std::string& detail);

  /// Takes the window off the screen, if there is one, and the process off the desktop in any case.
  /// Opens no desktop for it.
  void hide();

  bool windowShouldClose() override;
  void clickedLater();
  void clickedDone();

 private:
  void build(platform::WindowSystem& windows);

  std::unique_ptr<platform::Window> window_;
  std::shared_ptr<platform::MachineView> view_;  // in the window; set together with it
};

/// The one controller of this process. Set at start-up.
extern std::unique_ptr<GuestWindowController> guestWindow;

}  // namespace parlen
