#import "platform/macos/window_system.h"

#import <Virtualization/Virtualization.h>

#import "platform/macos/bar.h"
#import "platform/macos/bridge.h"
#import "platform/macos/machine.h"
#import "platform/macos/objc_key_event.h"
#import "platform/macos/objc_menu.h"
#import "platform/macos/window.h"

namespace parlen::macos {
namespace {

NSApplication* application() { return NSApplication.sharedApplication; }

class WindowSystem final : public platform::WindowSystem {
 public:
  bool hasMainMenu() const override { return application().mainMenu != nil; }

  void setMainMenu(const platform::MenuBar& menu) override {
    application().mainMenu = toMenu(menu);
  }

  void activate(platform::OtherApps otherApps) override;

  std::optional<platform::Rect> mainScreenVisibleFrame() const override {
    if (NSScreen.mainScreen == nil) return std::nullopt;
    return fromNsRect(NSScreen.mainScreen.visibleFrame);
  }

  std::shared_ptr<platform::MachineView> makeMachineView(
      const platform::Rect& frame, platform::VirtualMachine& machine,
      const platform::MachineViewOptions& options) override;

  std::unique_ptr<platform::Window> makeWindow(const platform::WindowOptions& options) override {
    return std::make_unique<Window>(options, labels_);
  }

  void setLabelText(platform::BarLabel label, const std::string& text) override {
    labels_.of(label).stringValue = toText(text);
  }

  std::unique_ptr<platform::KeyEvent> keyEvent(const platform::KeyEventDetails& details) override {
    return makeKeyEvent(details);
  }

  void sendEvent(const platform::KeyEvent& event) override {
    [application() sendEvent:opened(event)];
  }

 private:
  BarLabels labels_ = makeBarLabels();
};

// The name is deprecated since macOS 14 in favour of -activate, which only asks and which an
// application in front may refuse. The guest has to come up above whatever the user does.
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-declarations"
void WindowSystem::activate(platform::OtherApps otherApps) {
  [application() activateIgnoringOtherApps:otherApps == platform::OtherApps::ignore];
}
#pragma clang diagnostic pop

std::shared_ptr<platform::MachineView> WindowSystem::makeMachineView(
    const platform::Rect& frame, platform::VirtualMachine& machine,
    const platform::MachineViewOptions& options) {
  VZVirtualMachineView* view = [[VZVirtualMachineView alloc] initWithFrame:toNsRect(frame)];
  view.virtualMachine = static_cast<Machine&>(machine).object();
  view.capturesSystemKeys = options.capturesSystemKeys;
  // Before macOS 14 no view does it.
  if (@available(macOS 14.0, *)) {
    view.automaticallyReconfiguresDisplay = options.automaticallyReconfiguresDisplay;
  }
  return std::make_shared<MachineView>(view);
}

}  // namespace

std::unique_ptr<platform::WindowSystem> makeWindowSystem() {
  return std::make_unique<WindowSystem>();
}

}  // namespace parlen::macos
