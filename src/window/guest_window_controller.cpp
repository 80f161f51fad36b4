#include "window/guest_window_controller.h"

#include "events/event_stream.h"
#include "platform/platform.h"
#include "window/ask_bar.h"
#include "window/guest_view.h"
#include "window/placement.h"

namespace parlen {

// Set by start-up; see the declaration.
constinit std::unique_ptr<GuestWindowController> guestWindow;

namespace {

using platform::ActivationPolicy;
using platform::BarLabel;

/// A way to get the window out of sight, for a process that has come without a menu bar.
void ensureMainMenu(platform::WindowSystem& windows) {
  if (!windows.hasMainMenu()) windows.setMainMenu({{{"Hide", "hide:", ""}}});
}

}  // namespace

void GuestWindowController::show(const std::string& title, const std::string& detail) {
  if (virtualMachine == nullptr) {
    return warn("ignoring window: this run has no headless guest to show");
  }
  const auto opened = platform::host().windowSystem();
  if (!opened) return warn("cannot show the guest: " + opened.error().description);
  platform::WindowSystem& windows = **opened;

  windows.setLabelText(BarLabel::title, title);
  windows.setLabelText(BarLabel::detail, detail);
  platform::host().application().setActivationPolicy(ActivationPolicy::regular);
  ensureMainMenu(windows);
  if (!window_) build(windows);
  if (!window_->isVisible()) placeGuestWindow(*window_, windows);
  window_->makeKeyAndOrderFront();
  window_->makeFirstResponder(view_);  // so that typing goes to the guest
  windows.activate(platform::OtherApps::ignore);
}

void GuestWindowController::hide() {
  if (window_) window_->orderOut();
  platform::host().application().setActivationPolicy(ActivationPolicy::prohibited);
}

bool GuestWindowController::windowShouldClose() {
  emitWindowAction("later");
  hide();
  return false;  // it stays usable for the next time
}

// The parent answers a button with a command to hide, if it wants the window gone.
void GuestWindowController::clickedLater() { emitWindowAction("later"); }
void GuestWindowController::clickedDone() { emitWindowAction("done"); }

void GuestWindowController::build(platform::WindowSystem& windows) {
  view_ = makeGuestView(windows, *virtualMachine);
  window_ = makeGuestWindow(windows);
  window_->setTitle("Background desktop");
  window_->setReleasedWhenClosed(platform::ReleasedWhenClosed::no);
  window_->setDelegate(this);
  window_->setContentView(view_);
  window_->setInitialFirstResponder(view_);
  window_->addTitlebarAccessory(
      askBar({.later = [this] { clickedLater(); }, .done = [this] { clickedDone(); }}));
}

}  // namespace parlen
