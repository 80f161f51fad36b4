#import "platform/macos/window_system.h"

#import <Virtualization/Virtualization.h>

#include <utility>

#import "platform/macos/bar.h"
#import "platform/macos/bridge.h"
#import "platform/macos/machine.h"
#import "platform/macos/window.h"

namespace parlen::macos {
namespace {

NSApplication* application() { return NSApplication.sharedApplication; }

NSMenu* toSubmenu(const std::vector<platform::MenuEntry>& entries) {
  NSMenu* submenu = [[NSMenu alloc] init];
  for (const platform::MenuEntry& entry : entries) {
    // Without a target an action goes up the responder chain, which ends with the application.
    [submenu addItemWithTitle:toText(entry.title)
                       action:NSSelectorFromString(toText(entry.action))
                keyEquivalent:toText(entry.keyEquivalent)];
  }
  return submenu;
}

NSMenu* toMenu(const platform::MenuBar& bar) {
  NSMenu* menu = [[NSMenu alloc] init];
  for (const auto& entries : bar) {
    NSMenuItem* item = [[NSMenuItem alloc] init];
    item.submenu = toSubmenu(entries);
    [menu addItem:item];
  }
  return menu;
}

class KeyEvent final : public platform::KeyEvent {
 public:
  explicit KeyEvent(NSEvent* event) : event_(event) {}
  NSEvent* object() const { return event_; }

 private:
  NSEvent* event_;
};

// Apple's NSEvent page: keyEventWithType:... raises for any other type.
NSEventType toType(platform::KeyEventType type) {
  switch (type) {
    case platform::KeyEventType::keyDown:
      return NSEventTypeKeyDown;
    case platform::KeyEventType::keyUp:
      return NSEventTypeKeyUp;
    case platform::KeyEventType::flagsChanged:
      return NSEventTypeFlagsChanged;
  }
}

/// Nil if AppKit does not make the event.
NSEvent* toEvent(const platform::KeyEventDetails& details) {
  return [NSEvent keyEventWithType:toType(details.type)
                          location:NSMakePoint(details.location.x, details.location.y)
                     modifierFlags:details.modifierFlags
                         timestamp:details.timestamp
                      windowNumber:details.windowNumber
                           context:nil
                        characters:toText(details.characters)
       charactersIgnoringModifiers:toText(details.charactersIgnoringModifiers)
                         isARepeat:details.isARepeat
                           keyCode:details.keyCode];
}

/// Whether the application would keep `event` from its window, which it does with two kinds:
/// - Keys while another window is key, or none: since macOS 14 a process becomes active only when
///   the system agrees (Apple's NSApplication page, activate).
/// - A key that is released while Command is held: the key would stay down in the guest. Apple
///   does not document it; winit's WinitApplication, among others, works around it.
bool isKeptByApplication(NSEvent* event) {
  if (application().keyWindow != event.window) return true;
  return event.type == NSEventTypeKeyUp && (event.modifierFlags & NSEventModifierFlagCommand) != 0;
}

void dispatch(NSEvent* event) {
  if (event.window != nil && isKeptByApplication(event)) return [event.window sendEvent:event];
  [application() sendEvent:event];
}

class WindowSystem final : public platform::WindowSystem {
 public:
  explicit WindowSystem(Guard guard)
      : guard_(std::move(guard)), labels_(guard_.ask(makeBarLabels)) {}

  // Without an answer no menu is set.
  bool hasMainMenu() const override {
    return guard_.ask([] { return application().mainMenu != nil; }, true);
  }

  void setMainMenu(const platform::MenuBar& menu) override {
    guard_([&] { application().mainMenu = toMenu(menu); });
  }

  void activate(platform::OtherApps otherApps) override;

  std::optional<platform::Rect> mainScreenVisibleFrame() const override {
    return guard_.ask([] { return visibleFrameOf(NSScreen.mainScreen); });
  }

  std::shared_ptr<platform::MachineView> makeMachineView(
      const platform::Rect& frame, platform::VirtualMachine& machine,
      const platform::MachineViewOptions& options) override;

  std::unique_ptr<platform::Window> makeWindow(const platform::WindowOptions& options) override {
    return std::make_unique<Window>(options, labels_, guard_);
  }

  void setLabelText(platform::BarLabel label, const std::string& text) override {
    guard_([&] { labels_.of(label).stringValue = toText(text); });
  }

  std::unique_ptr<platform::KeyEvent> keyEvent(const platform::KeyEventDetails& details) override {
    NSEvent* const event = guard_.ask([&] { return toEvent(details); });
    if (event == nil) return nullptr;
    return std::make_unique<KeyEvent>(event);
  }

  void sendEvent(const platform::KeyEvent& event) override {
    guard_([&] { dispatch(static_cast<const KeyEvent&>(event).object()); });
  }

 private:
  Guard guard_;
  BarLabels labels_;
};

// Apple's NSApplication page: activateIgnoringOtherApps: is deprecated in favor of activate (from
// macOS 14), which only asks: the active application may decline. The guest's window must come to
// the front in any case.
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-declarations"
void WindowSystem::activate(platform::OtherApps otherApps) {
  guard_(
      [&] { [application() activateIgnoringOtherApps:otherApps == platform::OtherApps::ignore]; });
}
#pragma clang diagnostic pop

std::shared_ptr<platform::MachineView> WindowSystem::makeMachineView(
    const platform::Rect& frame, platform::VirtualMachine& machine,
    const platform::MachineViewOptions& options) {
  VZVirtualMachineView* view = nil;
  guard_([&] {
    view = [[VZVirtualMachineView alloc] initWithFrame:toNsRect(frame)];
    view.virtualMachine = static_cast<Machine&>(machine).object();
    view.capturesSystemKeys = options.capturesSystemKeys;
    // Apple's VZVirtualMachineView page: the property exists from macOS 14.
    if (@available(macOS 14.0, *)) {
      view.automaticallyReconfiguresDisplay = options.automaticallyReconfiguresDisplay;
    }
  });
  return std::make_shared<MachineView>(view, guard_);
}

}  // namespace

std::unique_ptr<platform::WindowSystem> makeWindowSystem(platform::WarningSink warn) {
  const Guard guard(std::move(warn));
  // Fonts and colors, the labels' included, come with the application.
  if (guard.ask(application) == nil) return nullptr;
  return std::make_unique<WindowSystem>(guard);
}

}  // namespace parlen::macos
