#include "window/guest_window_controller.h"

#include <optional>
#include <utility>

#include "events/event_stream.h"
#include "platform/machine_configuration.h"
#include "platform/platform.h"
#include "window/guest_window.h"

namespace parlen {

// Set by start-up; see the declaration.
constinit std::unique_ptr<GuestWindowController> guestWindow;

namespace {

using platform::ActivationPolicy;
using platform::BarButton;
using platform::BarLabel;
using platform::BarStack;
using platform::BarText;
using platform::NamedColor;
using platform::Orientation;
using platform::StackAlignment;

constexpr double lowPriority = 250;  // NSLayoutPriorityDefaultLow
constexpr double iconSize = 28;      // points
constexpr double barHeight = 50;     // points, until the window system lays it out

BarStack textColumn() {
  BarText title;
  title.label = BarLabel::title;
  title.face = platform::FontFace::boldSystem;
  title.size = platform::FontSize::standard;
  title.compressionResistance = lowPriority;

  BarText detail;
  detail.label = BarLabel::detail;
  detail.face = platform::FontFace::system;
  detail.size = platform::FontSize::small;
  detail.textColor = NamedColor::secondaryLabel;
  detail.compressionResistance = lowPriority;

  BarStack column;
  column.orientation = Orientation::vertical;
  column.alignment = StackAlignment::leading;
  column.spacing = 1;
  column.views = {title, detail};
  return column;
}

BarButton button(std::string title, std::string action, std::optional<NamedColor> bezelColor,
                 std::function<void()> onPress) {
  return {std::move(title), std::move(action), /*keyEquivalent=*/"", bezelColor,
          std::move(onPress)};
}

/// Gives a process without a menu bar one with which the user can hide the window.
void ensureMainMenu(platform::WindowSystem& windows) {
  if (!windows.hasMainMenu()) windows.setMainMenu({{{"Hide", "hide:", ""}}});
}

}  // namespace

platform::TitlebarAccessory askBar(AskBarActions actions) {
  BarStack bar;
  bar.orientation = Orientation::horizontal;
  bar.alignment = StackAlignment::centerY;
  bar.spacing = 10;
  bar.outer = {.edgeInsets = {.top = 8, .left = 14, .bottom = 8, .right = 14},
               .huggingPriority = lowPriority,
               .frame = {0, 0, vmDisplayWidth, barHeight}};
  bar.views = {
      platform::BarImage{iconSize, iconSize}, std::make_shared<BarStack>(textColumn()),
      platform::BarSpacer{},
      button("Later", "clickedLater:", std::nullopt, std::move(actions.onLater)),
      button("Done", "clickedDone:", NamedColor::controlAccent, std::move(actions.onDone))};
  return {platform::LayoutAttribute::bottom, std::move(bar)};
}

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
  return false;  // the next `show` uses the window again
}

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
      askBar({.onLater = [this] { clickedLater(); }, .onDone = [this] { clickedDone(); }}));
}

}  // namespace parlen
