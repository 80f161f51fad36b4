// Stands for NSResponder, NSView and NSWindow, and for VZVirtualMachineView: a window is a
// simulated window, a machine view a simulated one with the scenario's views in it. From Apple's
// pages, on the strict side: everything on the main thread; a window's screen is nil while it is
// off screen; a window that is released when it is closed really is; chrome is right once the
// window was laid out.
//
// It cannot show how a window looks, what size AppKit's title bar has, nor the order of its own
// notifications.
#import "appkit.h"
#import "virtualization.h"

#include <utility>

#import "platform/macos/bridge.h"
#include "platform/simulated/window_system.h"

using namespace parlen;
using harness::fromRect;
using harness::requireMainThread;
using harness::toRect;
using harness::world;
using macos::toText;

// ---- Responders and views ----

@implementation NSResponder
@synthesize nextResponder;
- (instancetype)init {
  return self = [super init];
}
- (BOOL)acceptsFirstResponder {
  return NO;
}
- (BOOL)performKeyEquivalent:(NSEvent*)event {
  return NO;
}
- (void)keyDown:(NSEvent*)event {
}
- (void)keyUp:(NSEvent*)event {
}
- (void)flagsChanged:(NSEvent*)event {
}
@end

@implementation NSView {
  NSMutableArray<NSView*>* _inner;
  __weak NSView* _superview;
  __weak NSWindow* _window;
}
@synthesize identifier, frame;

- (instancetype)init {
  return [self initWithFrame:NSMakeRect(0, 0, 0, 0)];
}
- (instancetype)initWithFrame:(NSRect)rect {
  requireMainThread(@"initWithFrame:");
  self = [super init];
  self.frame = rect;
  _inner = [NSMutableArray array];
  return self;
}
- (NSArray*)subviews {
  return _inner;
}
- (NSView*)superview {
  return _superview;
}
- (NSWindow*)window {
  return _window;
}
- (void)addSubview:(NSView*)view {
  [_inner addObject:view];
  view->_superview = self;
  [view moveToWindow:_window];
}
- (void)moveToWindow:(NSWindow*)window {
  _window = window;
  for (NSView* view in _inner) [view moveToWindow:window];
}
- (void)layoutSubtreeIfNeeded {
}
- (std::shared_ptr<platform::View>)simulated {
  return nullptr;
}
@end

/// A view of the scenario, inside of a machine view.
@interface ParlenGuestView : NSView
- (instancetype)initWithSimulated:(std::shared_ptr<parlen::platform::View>)simulated;
@end

@implementation ParlenGuestView {
  std::shared_ptr<platform::View> _simulated;
}
- (instancetype)initWithSimulated:(std::shared_ptr<platform::View>)simulated {
  self = [super initWithFrame:NSMakeRect(0, 0, 0, 0)];
  _simulated = std::move(simulated);
  for (const auto& view : _simulated->subviews())
    [self addSubview:[[ParlenGuestView alloc] initWithSimulated:view]];
  return self;
}
- (std::shared_ptr<platform::View>)simulated {
  return _simulated;
}
- (BOOL)acceptsFirstResponder {
  return _simulated->acceptsFirstResponder();
}
- (NSString*)description {
  return toText(static_cast<simulated::ViewOf<platform::View>&>(*_simulated).name());
}
@end

@interface VZVirtualMachineView ()
- (std::shared_ptr<parlen::platform::MachineView>)machineView;
@end

namespace {

NSMutableArray<VZVirtualMachineView*>* unsettled() {
  static NSMutableArray<VZVirtualMachineView*>* views = [NSMutableArray array];
  return views;
}

}  // namespace

void harness::settleMachineViews() {
  NSArray<VZVirtualMachineView*>* views = [unsettled() copy];
  [unsettled() removeAllObjects];
  for (VZVirtualMachineView* view in views) (void)[view machineView];
}

@implementation VZVirtualMachineView {
  std::shared_ptr<platform::MachineView> _simulated;
}
@synthesize virtualMachine, capturesSystemKeys, automaticallyReconfiguresDisplay;

- (instancetype)initWithFrame:(NSRect)rect {
  self = [super initWithFrame:rect];
  [unsettled() addObject:self];
  return self;
}
- (std::shared_ptr<platform::MachineView>)machineView {
  if (_simulated) return _simulated;
  if (self.virtualMachine == nil) harness::raise(@"a machine view without a machine");
  _simulated = simulated::WindowSystem(world()).makeMachineView(
      toRect(self.frame), *[self.virtualMachine simulated], {
        .capturesSystemKeys = self.capturesSystemKeys != NO,
        .automaticallyReconfiguresDisplay = self.automaticallyReconfiguresDisplay != NO
      });
  for (const auto& view : _simulated->subviews())
    [self addSubview:[[ParlenGuestView alloc] initWithSimulated:view]];
  return _simulated;
}
- (std::shared_ptr<platform::View>)simulated {
  return [self machineView];
}
- (BOOL)acceptsFirstResponder {
  return [self machineView]->acceptsFirstResponder();
}
// The guest takes all keys, the system's own too if it is to capture them.
- (BOOL)performKeyEquivalent:(NSEvent*)event {
  [self.window sendEvent:event];
  return YES;
}
- (NSString*)description {
  return toText(static_cast<simulated::MachineView&>(*[self machineView]).name());
}
@end

// ---- Windows ----

@interface NSWindow ()
- (BOOL)userCloses;
@end

namespace {

/// The person at the simulated desktop presses the close button.
class CloseButton final : public platform::WindowDelegate {
 public:
  bool windowShouldClose() override { return [window userCloses]; }
  __weak NSWindow* window;
};

}  // namespace

@implementation NSWindow {
  std::unique_ptr<simulated::Window> _simulated;
  CloseButton _closeButton;
  NSMutableArray<NSTitlebarAccessoryViewController*>* _accessories;
  BOOL _needsLayout;
  __weak id<NSWindowDelegate> _delegate;
}
@synthesize identifier, title = _title, contentView = _contentView,
                        initialFirstResponder = _initialFirstResponder,
                        releasedWhenClosed = _releasedWhenClosed;

- (instancetype)initWithContentRect:(NSRect)rect
                          styleMask:(NSWindowStyleMask)style
                            backing:(NSBackingStoreType)backing
                              defer:(BOOL)defer {
  requireMainThread(@"NSWindow");
  if (NSApp == nil) harness::raise(@"a window without an application");
  // NSApplicationActivationPolicy: such an application "may not create windows".
  if (NSApp.activationPolicy == NSApplicationActivationPolicyProhibited)
    harness::raise(@"a window of an application that may not create any");
  self = [super init];
  harness::settleMachineViews();
  _simulated = std::make_unique<simulated::Window>(
      world(), platform::WindowOptions{.contentRect = toRect(rect),
                                       .styleMask = style,
                                       .backing = static_cast<platform::Backing>(backing),
                                       .defer = defer != NO});
  _closeButton.window = self;
  _accessories = [NSMutableArray array];
  _contentView = [[NSView alloc] initWithFrame:rect];
  _releasedWhenClosed = YES;  // NSWindow.releasedWhenClosed: "The default is YES"
  [NSApp add:self];
  return self;
}

- (NSInteger)windowNumber {
  return _simulated->windowNumber();
}
- (void)setTitle:(NSString*)title {
  if (title == nil) harness::raise(@"a window's title is not nil");
  _title = [title copy];
  _simulated->setTitle(macos::fromText(title));
}
// In the trace if it changes nothing: the host switches the release off for every window that it
// makes, which is no call of the program's.
- (void)setReleasedWhenClosed:(BOOL)released {
  if (std::exchange(_releasedWhenClosed, released) != released) return;
  _simulated->setReleasedWhenClosed(released ? platform::ReleasedWhenClosed::yes
                                             : platform::ReleasedWhenClosed::no);
}
- (id<NSWindowDelegate>)delegate {
  return _delegate;
}
- (void)setDelegate:(id<NSWindowDelegate>)delegate {
  _delegate = delegate;
  if (delegate != nil) _simulated->setDelegate(&_closeButton);
}

- (void)setContentView:(NSView*)view {
  requireMainThread(@"setContentView:");
  if (view != nil && ![view isKindOfClass:VZVirtualMachineView.class])
    harness::raise(@"only a machine view is a window's content here");
  [_contentView moveToWindow:nil];
  _contentView = view;
  _simulated->setContentView([static_cast<VZVirtualMachineView*>(view) machineView]);
  [view moveToWindow:self];
}
- (void)setInitialFirstResponder:(NSView*)view {
  _initialFirstResponder = view;
  _simulated->setInitialFirstResponder([static_cast<VZVirtualMachineView*>(view) machineView]);
}
- (void)addTitlebarAccessoryViewController:(NSTitlebarAccessoryViewController*)controller {
  [_accessories addObject:controller];
  _needsLayout = YES;
  _simulated->addTitlebarAccessory(harness::describe(controller));
}
- (NSArray*)titlebarAccessoryViewControllers {
  return _accessories;
}

- (BOOL)isVisible {
  return _simulated->isVisible();
}
// NSWindow.screen: "nil when the window is offscreen".
- (NSScreen*)screen {
  return _simulated->screenVisibleFrame() ? NSScreen.mainScreen : nil;
}
- (NSRect)frame {
  return fromRect(_simulated->frame());
}
// NSWindow.layoutIfNeeded: a bar's height comes from the constraints of its views.
- (void)layoutIfNeeded {
  _needsLayout = NO;
}
- (NSRect)contentRectForFrameRect:(NSRect)rect {
  if (_needsLayout) return rect;
  return fromRect(_simulated->contentRectForFrameRect(toRect(rect)));
}
- (void)setFrame:(NSRect)rect display:(BOOL)display {
  requireMainThread(@"setFrame:display:");
  _simulated->setFrame(toRect(rect), display ? platform::Redraw::atOnce : platform::Redraw::later);
}
- (void)setContentSize:(NSSize)size {
  _simulated->setContentSize({size.width, size.height});
}
- (void)setContentAspectRatio:(NSSize)ratio {
  _simulated->setContentAspectRatio({ratio.width, ratio.height});
}

- (void)makeKeyAndOrderFront:(id)sender {
  requireMainThread(@"makeKeyAndOrderFront:");
  _simulated->makeKeyAndOrderFront();
  [NSApp wishesToBeKey:self];
}
// Orders the window in front of the active application's; in the trace where that is another one,
// because the simulated desktop has no others.
- (void)orderFrontRegardless {
  requireMainThread(@"orderFrontRegardless");
  if (harness::isActivationRefused()) world()->trace.record("window.orderFrontRegardless");
}
- (void)orderOut:(id)sender {
  requireMainThread(@"orderOut:");
  _simulated->orderOut();
  [NSApp cannotBeKey:self];
}

// ---- The first responder ----

/// The view that the simulated window's first responder stands for, in or below `view`.
- (NSView*)focusedIn:(NSView*)view {
  const auto simulated = [view simulated];
  if (simulated && _simulated->isFirstResponder(*simulated)) return view;
  for (NSView* inner in view.subviews) {
    if (NSView* found = [self focusedIn:inner]) return found;
  }
  return nil;
}
// NSWindow.firstResponder: the window itself if no view is.
- (NSResponder*)firstResponder {
  NSView* view = [self focusedIn:_contentView];
  return view != nil ? view : static_cast<NSResponder*>(self);
}
- (BOOL)makeFirstResponder:(NSResponder*)responder {
  requireMainThread(@"makeFirstResponder:");
  auto* view = static_cast<NSView*>(responder);
  if (view != nil && ![view simulated])
    harness::raise(@"a first responder that is no view of the machine");
  _simulated->makeFirstResponder(view != nil ? [view simulated] : nullptr);
  return view == nil || self.firstResponder == view;
}
- (NSString*)description {
  return toText(_simulated->firstResponderDescription());
}

// What reaches the window's first responder is what the guest gets; the rest is not in the trace.
- (void)sendEvent:(NSEvent*)event {
  requireMainThread(@"sendEvent:");
  if (event.windowNumber != self.windowNumber) return;
  simulated::WindowSystem(world()).sendEvent(simulated::KeyEvent([event details]));
}

// ---- Closing ----

/// Apple's page of performClose: the delegate is asked; if it agrees, the window is closed. Returns
/// whether it was.
- (BOOL)userCloses {
  if ([_delegate respondsToSelector:@selector(windowShouldClose:)] &&
      ![_delegate windowShouldClose:self]) {
    return NO;
  }
  [NSApp cannotBeKey:self];
  [NSApp remove:self];
  // NSWindow.releasedWhenClosed: the window is released once more than the program did.
  if (_releasedWhenClosed) (void)(__bridge_transfer id)(__bridge void*)self;
  return YES;
}

@end
