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

/// The window of a headless guest. The parent shows and hides it; a bar in it shows the parent's
/// two texts and two buttons. What the user does is reported as `window-action` events; only the
/// close button also hides the window. The window is made by the first `show` and kept for the rest
/// of the process. Main thread.
class GuestWindowController : public platform::WindowDelegate {
 public:
  /// The guest to show; set by a headless run, not owned, null in any other run.
  platform::VirtualMachine* virtualMachine = nullptr;

  /// Shows the guest under these texts, in front of all windows. A window that is visible already
  /// is not moved. Only warns if there is no guest or the desktop cannot be opened.
  void show(const std::string& title, const std::string& detail);

  /// Hides the window, if there is one, and in any case takes the process's icon off the desktop.
  /// Does not open the desktop.
  void hide();

  /// Reports "later" and hides the window instead of closing it.
  bool windowShouldClose() override;
  /// Reports "later". The window stays until the parent hides it.
  void clickedLater();
  /// Reports "done". The window stays until the parent hides it.
  void clickedDone();

 private:
  void build(platform::WindowSystem& windows);

  std::unique_ptr<platform::Window> window_;
  std::shared_ptr<platform::MachineView> view_;  // in the window; made with it
};

/// The controller of this process. Set at start-up.
extern std::unique_ptr<GuestWindowController> guestWindow;

}  // namespace parlen
