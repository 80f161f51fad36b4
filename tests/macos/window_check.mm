// window_check - shows a window of the program's own classes with a view in it that records its key
// events, and prints "<id>: yes" or "<id>: no, <why>" for each thing that is assumed of AppKit. It
// needs somebody logged in at the screen; otherwise it prints "session: no". What is waited for has
// a time limit; a call that hangs is for the caller to end.
#import <AppKit/AppKit.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/key_codes.h"
#include "platform/platform.h"
#include "window/guest_window_controller.h"

@interface RecordingView : NSView
@end

@implementation RecordingView {
 @public
  std::vector<std::string> _seen;
}

- (BOOL)acceptsFirstResponder {
  return YES;
}

- (void)keyDown:(NSEvent*)event {
  _seen.push_back("down " + std::to_string(event.keyCode));
}

- (void)keyUp:(NSEvent*)event {
  _seen.push_back("up " + std::to_string(event.keyCode));
}

- (void)flagsChanged:(NSEvent*)event {
  _seen.push_back("flags " + std::to_string(event.modifierFlags));
}

@end

namespace parlen {
namespace {

using platform::KeyEventType;

/// Prints one answer; `why` counts when it is a no.
void answer(const char* id, bool yes, const std::string& why) {
  std::printf(yes ? "%s: yes\n" : "%s: no, %s\n", id, why.c_str());
  std::fflush(stdout);
}

/// Serves the application until the condition holds, for five seconds at most.
bool wait(const std::function<bool()>& condition) {
  NSDate* end = [NSDate dateWithTimeIntervalSinceNow:5];
  while (!condition() && end.timeIntervalSinceNow > 0) {
    NSEvent* event = [NSApp nextEventMatchingMask:NSEventMaskAny
                                        untilDate:[NSDate dateWithTimeIntervalSinceNow:0.05]
                                           inMode:NSDefaultRunLoopMode
                                          dequeue:YES];
    if (event != nil) [NSApp sendEvent:event];
  }
  return condition();
}

NSWindow* nativeOf(const platform::Window& window) {
  for (NSWindow* one in NSApp.windows) {
    if (one.windowNumber == window.windowNumber()) return one;
  }
  return nil;
}

NSButton* buttonIn(NSView* view, NSString* title) {
  if ([view isKindOfClass:NSButton.class] && [((NSButton*)view).title isEqualToString:title]) {
    return (NSButton*)view;
  }
  for (NSView* subview in view.subviews) {
    if (NSButton* found = buttonIn(subview, title)) return found;
  }
  return nil;
}

struct CloseDelegate final : platform::WindowDelegate {
  bool windowShouldClose() override {
    ++asked;
    return allowed;
  }
  int asked = 0;
  bool allowed = false;
};

class Check {
 public:
  Check(platform::WindowSystem& system, platform::Application& application)
      : system_(system), application_(application) {}

  void run() {
    chrome();
    open();
    keys();
    buttons();
    hiding();
    closing();
    window_.reset();
    answer("gone", wait([] { return noneIsVisible(); }), "a window is still visible");
  }

 private:
  static constexpr platform::Rect content{200, 200, 640, 400};

  static bool noneIsVisible() {
    for (NSWindow* one in NSApp.windows) {
      if (one.isVisible) return false;
    }
    return true;
  }

  std::unique_ptr<platform::Window> make() {
    return system_.makeWindow({.contentRect = content,
                               .styleMask = platform::windowTitled | platform::windowClosable |
                                            platform::windowResizable});
  }

  static double chromeOf(const platform::Window& window) {
    const platform::Rect frame{0, 0, 800, 600};
    return frame.height - window.contentRectForFrameRect(frame).height;
  }

  /// As the program has it: the bar is there before the window is shown.
  void chrome() {
    window_ = make();
    window_->setReleasedWhenClosed(platform::ReleasedWhenClosed::no);
    window_->setDelegate(&delegate_);
    const double plain = chromeOf(*make());
    answer("chrome", plain > 15 && plain < 60, "it is " + std::to_string(plain) + " points");
    system_.setLabelText(platform::BarLabel::title, "A title");
    system_.setLabelText(platform::BarLabel::detail, "A detail");
    window_->addTitlebarAccessory(
        askBar({.onLater = [this] { ++later_; }, .onDone = [this] { ++done_; }}));
    const double withBar = chromeOf(*window_);
    answer("chrome-with-bar", withBar > plain + 20,
           std::to_string(withBar) + " points after " + std::to_string(plain));
  }

  void open() {
    system_.activate(platform::OtherApps::ignore);
    window_->makeKeyAndOrderFront();
    native_ = nativeOf(*window_);
    view_ = [[RecordingView alloc] initWithFrame:NSMakeRect(0, 0, content.width, content.height)];
    native_.contentView = view_;
    [native_ makeFirstResponder:view_];
    answer("visible",
           wait([this] { return window_->isVisible() && window_->screenVisibleFrame(); }),
           "it is not visible, or on no screen");
    answer("key-window", wait([this] { return native_.isKeyWindow; }),
           NSApp.active ? "the application is active" : "the application is not active");
  }

  /// Whether the view records exactly `expected` when the event is sent.
  void key(const char* id, KeyEventType type, std::uint64_t flags, const std::string& expected) {
    view_->_seen.clear();
    const auto event = system_.keyEvent(
        {.type = type,
         .modifierFlags = flags,
         .timestamp = NSProcessInfo.processInfo.systemUptime,
         .windowNumber = window_->windowNumber(),
         .characters = type == KeyEventType::flagsChanged ? "" : "a",
         .charactersIgnoringModifiers = type == KeyEventType::flagsChanged ? "" : "a",
         .keyCode = vk::ansiA});
    if (!event) return answer(id, false, "AppKit made no event");
    system_.sendEvent(*event);
    std::string seen;
    for (const std::string& one : view_->_seen) seen += one + ";";
    answer(id, seen == expected + ";", "the view saw '" + seen + "'");
  }

  void keys() {
    constexpr modifier::Flags leftCommand = modifier::command | modifier::leftCommandKey;
    key("key-down", KeyEventType::keyDown, 0, "down 0");
    key("key-up", KeyEventType::keyUp, 0, "up 0");
    key("flags-changed", KeyEventType::flagsChanged, leftCommand,
        "flags " + std::to_string(leftCommand));
    key("command-key-up", KeyEventType::keyUp, leftCommand, "up 0");
  }

  void press(const char* id, NSString* title, const int& count) {
    NSButton* button = nil;
    for (NSTitlebarAccessoryViewController* bar in native_.titlebarAccessoryViewControllers) {
      if (button == nil) button = buttonIn(bar.view, title);
    }
    if (button == nil) return answer(id, false, "there is no such button");
    [button performClick:nil];
    wait([&count] { return count > 0; });
    answer(id, count == 1, "it was reported " + std::to_string(count) + " times");
  }

  void buttons() {
    press("later", @"Later", later_);
    press("done", @"Done", done_);
  }

  /// As the `window` command has it: the application leaves the Dock with its window.
  void hiding() {
    window_->orderOut();
    application_.setActivationPolicy(platform::ActivationPolicy::prohibited);
    answer("hidden", wait([this] {
             return !window_->isVisible() &&
                    NSApp.activationPolicy == NSApplicationActivationPolicyProhibited;
           }),
           "the policy is " + std::to_string(NSApp.activationPolicy));
    application_.setActivationPolicy(platform::ActivationPolicy::regular);
    window_->makeKeyAndOrderFront();
    system_.activate(platform::OtherApps::ignore);
    answer("shown-again", wait([this] {
             return window_->isVisible() && window_->screenVisibleFrame() &&
                    NSApp.activationPolicy == NSApplicationActivationPolicyRegular;
           }),
           "the policy is " + std::to_string(NSApp.activationPolicy));
  }

  void closing() {
    [native_ performClose:nil];
    wait([this] { return delegate_.asked > 0; });
    answer("close-asks", delegate_.asked == 1 && window_->isVisible(),
           "asked " + std::to_string(delegate_.asked) + " times");
    delegate_.allowed = true;
    close("close");
    window_->makeKeyAndOrderFront();
    wait([this] { return window_->isVisible(); });
    close("close-again");
  }

  void close(const char* id) {
    const bool shown = window_->isVisible();
    [native_ performClose:nil];
    const bool gone = wait([this] { return !window_->isVisible(); });
    answer(id, shown && gone, shown ? "it stays" : "it was not shown");
  }

  platform::WindowSystem& system_;
  platform::Application& application_;
  CloseDelegate delegate_;
  std::unique_ptr<platform::Window> window_;
  NSWindow* native_ = nil;
  RecordingView* view_ = nil;
  int later_ = 0;
  int done_ = 0;
};

/// As from the Dock: the program's handler is called and decides; AppKit does not end the process.
void quit(platform::Application& application) {
  application.setQuitHandler([] {
    answer("quit", true, "");
    std::exit(0);
  });
  dispatch_async(dispatch_get_main_queue(), ^{
    [NSApp terminate:nil];
  });
  (void)application.run();
}

int check() {
  const auto native = platform::makeNativePlatform();
  const auto host = native->makeHost([](std::string_view) {});
  host->application().setActivationPolicy(platform::ActivationPolicy::regular);
  const auto system = host->windowSystem();
  if (!system) {
    std::printf("session: no\n");
    return 0;
  }
  [NSApp finishLaunching];
  answer("opens", true, "");
  Check(**system, host->application()).run();
  quit(host->application());
  return 0;
}

}  // namespace
}  // namespace parlen

int main() {
  @autoreleasepool {
    return parlen::check();
  }
}
