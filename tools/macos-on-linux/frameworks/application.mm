// Stands for NSApplication and what belongs to no window: session, screens, menus, events. Made
// from Apple's pages, on the strict side:
//
// - NSApplication.sharedApplication: without a login session (PARLEN_SESSION=none) the process ends
//   inside of it, as it was seen to on macOS 15.
// - NSApplication.activate (macOS 14): activation is a request. It is granted in a later iteration
//   of the loop, or with PARLEN_ACTIVATION=refused never.
// - NSApplication.sendEvent: a key goes to the key window, whatever window it names, and without a
//   key window nowhere; while Command is held, keys are first offered as equivalents, and no key-up
//   is forwarded.
// - NSApplication.terminate: asks the delegate, and without one ends the process with status 0.
//
// It cannot show what is drawn, nor what a person does with a real menu. PARLEN_QUIT_MS: a person
// quits the program so long after it has begun to run, as from the Dock.
#import "appkit.h"

#include <dispatch/dispatch.h>

#include <cstdlib>
#include <string_view>

#import "platform/macos/bridge.h"
#include "platform/simulated/window_system.h"

using namespace parlen;
using harness::fromRect;
using harness::requireMainThread;
using harness::world;
using macos::fromText;
using simulated::JsonMembers;

namespace {

simulated::WindowSystem windowSystem() { return simulated::WindowSystem(world()); }

bool variableIs(const char* name, std::string_view value) {
  const char* set = std::getenv(name);
  return set != nullptr && set == value;
}

}  // namespace

bool harness::hasSession() { return !variableIs("PARLEN_SESSION", "none"); }
bool harness::isActivationRefused() { return variableIs("PARLEN_ACTIVATION", "refused"); }

// CGSession.h: "Returns NULL if the caller is not running within a Quartz GUI session".
extern "C" __attribute__((ns_returns_retained)) id CGSessionCopyCurrentDictionary() {
  return harness::hasSession() ? [[NSMutableDictionary alloc] init] : nil;
}

// ---- Screens ----

@implementation NSScreen

+ (NSScreen*)mainScreen {
  static NSScreen* screen = [[NSScreen alloc] init];
  return world()->scenario.window.visibleFrame ? screen : nil;
}
+ (NSArray<NSScreen*>*)screens {
  return NSScreen.mainScreen != nil ? @[ NSScreen.mainScreen ] : @[];
}
- (NSRect)frame {
  return self.visibleFrame;
}
- (NSRect)visibleFrame {
  return fromRect(world()->scenario.window.visibleFrame.value());
}
- (CGFloat)backingScaleFactor {
  return 1;
}

@end

// ---- Menus ----

@implementation NSMenuItem
@synthesize identifier, submenu, title, keyEquivalent, keyEquivalentModifierMask, state, enabled,
    hidden, target, action, tag, representedObject;

- (instancetype)init {
  return [self initWithTitle:@"" action:nullptr keyEquivalent:@""];
}
- (instancetype)initWithTitle:(NSString*)newTitle
                       action:(SEL)selector
                keyEquivalent:(NSString*)equivalent {
  self = [super init];
  self.title = newTitle;
  self.action = selector;
  self.keyEquivalent = equivalent;
  return self;
}
- (BOOL)hasSubmenu {
  return self.submenu != nil;
}

@end

@implementation NSMenu {
  NSMutableArray<NSMenuItem*>* _items;
}
@synthesize identifier, title, autoenablesItems;

- (instancetype)init {
  return [self initWithTitle:@""];
}
- (instancetype)initWithTitle:(NSString*)newTitle {
  self = [super init];
  _items = [NSMutableArray array];
  self.title = newTitle;
  return self;
}
- (NSArray<NSMenuItem*>*)itemArray {
  return _items;
}
- (NSInteger)numberOfItems {
  return static_cast<NSInteger>(_items.count);
}
- (void)addItem:(NSMenuItem*)item {
  [_items addObject:item];
}
- (NSMenuItem*)addItemWithTitle:(NSString*)newTitle
                         action:(SEL)selector
                  keyEquivalent:(NSString*)equivalent {
  NSMenuItem* item = [[NSMenuItem alloc] initWithTitle:newTitle
                                                action:selector
                                         keyEquivalent:equivalent];
  [self addItem:item];
  return item;
}

@end

namespace {

platform::MenuBar describe(NSMenu* menu) {
  platform::MenuBar bar;
  for (NSMenuItem* item in menu.itemArray) {
    auto& entries = bar.emplace_back();
    for (NSMenuItem* entry in item.submenu.itemArray) {
      entries.push_back({.title = fromText(entry.title),
                         .action = fromText(NSStringFromSelector(entry.action)),
                         .keyEquivalent = fromText(entry.keyEquivalent)});
    }
  }
  return bar;
}

}  // namespace

// ---- Events ----

@implementation NSEvent {
  platform::KeyEventDetails _details;
}

+ (NSEvent*)keyEventWithType:(NSEventType)type
                       location:(NSPoint)location
                  modifierFlags:(NSEventModifierFlags)flags
                      timestamp:(NSTimeInterval)time
                   windowNumber:(NSInteger)number
                        context:(NSGraphicsContext*)context
                     characters:(NSString*)characters
    charactersIgnoringModifiers:(NSString*)bareCharacters
                      isARepeat:(BOOL)repeat
                        keyCode:(unsigned short)code {
  if (type != NSEventTypeKeyDown && type != NSEventTypeKeyUp && type != NSEventTypeFlagsChanged)
    harness::raise(@"keyEventWithType: with a type that is none of a key event");
  if (characters == nil || bareCharacters == nil) harness::raise(@"a key event without characters");
  const platform::KeyEventDetails details{.type = static_cast<platform::KeyEventType>(type),
                                          .location = {location.x, location.y},
                                          .modifierFlags = flags,
                                          .timestamp = time,
                                          .windowNumber = number,
                                          .characters = fromText(characters),
                                          .charactersIgnoringModifiers = fromText(bareCharacters),
                                          .isARepeat = repeat != NO,
                                          .keyCode = code};
  if (!windowSystem().keyEvent(details)) return nil;
  NSEvent* event = [[NSEvent alloc] init];
  event->_details = details;
  return event;
}

- (const platform::KeyEventDetails&)details {
  return _details;
}
- (NSEventType)type {
  return static_cast<NSEventType>(_details.type);
}
- (NSEventModifierFlags)modifierFlags {
  return _details.modifierFlags;
}
- (NSWindow*)window {
  return [NSApp windowNumbered:self.windowNumber];
}
- (NSInteger)windowNumber {
  return _details.windowNumber;
}
- (unsigned short)keyCode {
  return _details.keyCode;
}

@end

// ---- Colors, fonts and images: their names are all that is asked for ----

@implementation NSImage
@end

// ---- The application ----

__kindof NSApplication* NSApp = nil;

@implementation NSApplication {
  NSMutableArray<NSWindow*>* _windows;
  __weak NSWindow* _wishesToBeKey;
  NSApplicationActivationPolicy _policy;
  NSImage* _icon;
}
@synthesize delegate, active = _active, mainMenu = _mainMenu;

+ (NSApplication*)sharedApplication {
  requireMainThread(@"sharedApplication");
  if (!harness::hasSession()) harness::raise(@"sharedApplication without a login session");
  if (NSApp == nil) NSApp = [[self alloc] init];
  return NSApp;
}

- (instancetype)init {
  self = [super init];
  _windows = [NSMutableArray array];
  _icon = [[NSImage alloc] init];
  // NSApplicationActivationPolicy: what is not in an application bundle starts as prohibited.
  _policy = NSApplicationActivationPolicyProhibited;
  return self;
}

- (BOOL)setActivationPolicy:(NSApplicationActivationPolicy)policy {
  requireMainThread(@"setActivationPolicy:");
  simulated::Application(world()).setActivationPolicy(
      static_cast<platform::ActivationPolicy>(policy));
  _policy = policy;
  if (policy == NSApplicationActivationPolicyProhibited) _active = NO;
  return YES;
}
- (NSApplicationActivationPolicy)activationPolicy {
  return _policy;
}
- (NSImage*)applicationIconImage {
  return _icon;
}

- (void)setMainMenu:(NSMenu*)menu {
  requireMainThread(@"setMainMenu:");
  windowSystem().setMainMenu(describe(menu));
  _mainMenu = menu;
}

- (void)activateIgnoringOtherApps:(BOOL)ignore {
  requireMainThread(@"activateIgnoringOtherApps:");
  windowSystem().activate(ignore ? platform::OtherApps::ignore : platform::OtherApps::respect);
  if (harness::isActivationRefused()) return;
  dispatch_async(dispatch_get_main_queue(), ^{
    self->_active = self->_policy == NSApplicationActivationPolicyRegular;
  });
}

- (NSArray<NSWindow*>*)windows {
  return [_windows copy];
}
- (NSWindow*)windowNumbered:(NSInteger)number {
  for (NSWindow* window in _windows) {
    if (window.windowNumber == number) return window;
  }
  return nil;
}
- (void)add:(NSWindow*)window {
  [_windows addObject:window];
}
- (void)remove:(NSWindow*)window {
  [_windows removeObject:window];
}
- (void)wishesToBeKey:(NSWindow*)window {
  _wishesToBeKey = window;
}
- (void)cannotBeKey:(NSWindow*)window {
  if (_wishesToBeKey == window) _wishesToBeKey = nil;
}
// NSApplication.keyWindow: "nil if the app isn't active".
- (NSWindow*)keyWindow {
  return _active ? _wishesToBeKey : nil;
}

- (void)sendEvent:(NSEvent*)event {
  requireMainThread(@"sendEvent:");
  const bool commanded = (event.modifierFlags & NSEventModifierFlagCommand) != 0;
  if (commanded && event.type == NSEventTypeKeyUp) return;
  if (commanded && event.type == NSEventTypeKeyDown &&
      [self.keyWindow.firstResponder performKeyEquivalent:event]) {
    return;
  }
  [self.keyWindow sendEvent:event];
}

- (void)finishLaunching {
  requireMainThread(@"finishLaunching");
}
- (void)run {
  requireMainThread(@"run");
  if (const char* quit = std::getenv("PARLEN_QUIT_MS")) {
    constexpr int64_t millisecond = 1'000'000;
    dispatch_after(dispatch_time(DISPATCH_TIME_NOW, std::atoll(quit) * millisecond),
                   dispatch_get_main_queue(), ^{
                     [self terminate:nil];
                   });
  }
  world()->trace.record("application.run");
  [NSRunLoop.mainRunLoop run];
}

- (void)terminate:(id)sender {
  requireMainThread(@"terminate:");
  if ([self.delegate respondsToSelector:@selector(applicationShouldTerminate:)] &&
      [self.delegate applicationShouldTerminate:self] == NSTerminateCancel) {
    return;
  }
  std::exit(0);
}

@end
