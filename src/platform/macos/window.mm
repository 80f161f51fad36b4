#import "platform/macos/window.h"

#include <utility>

#import "platform/macos/bridge.h"

/// Forwards AppKit's delegate calls to the program's delegate.
@interface ParlenWindowDelegate : NSObject <NSWindowDelegate>
- (instancetype)initWithReceiver:(parlen::platform::WindowDelegate*)receiver;
@end

@implementation ParlenWindowDelegate {
  parlen::platform::WindowDelegate* _receiver;
}

- (instancetype)initWithReceiver:(parlen::platform::WindowDelegate*)receiver {
  self = [super init];
  _receiver = receiver;
  return self;
}

- (BOOL)windowShouldClose:(NSWindow*)sender {
  BOOL closes = YES;
  parlen::macos::callBack([self, &closes] { closes = self->_receiver->windowShouldClose(); });
  return closes;
}

@end

namespace parlen::macos {
namespace {

// The interface's style bits are NSWindowStyleMask's.
static_assert(platform::windowTitled == NSWindowStyleMaskTitled);
static_assert(platform::windowClosable == NSWindowStyleMaskClosable);
static_assert(platform::windowMiniaturizable == NSWindowStyleMaskMiniaturizable);
static_assert(platform::windowResizable == NSWindowStyleMaskResizable);

NSBackingStoreType toBacking(platform::Backing backing) {
  switch (backing) {
    case platform::Backing::buffered:
      return NSBackingStoreBuffered;
  }
}

using View = ViewOf<platform::View, NSView>;

// Views come back from the program as what this host made them.

NSView* unwrap(const platform::View& view) {
  return dynamic_cast<const NativeView&>(view).native();
}

std::shared_ptr<MachineView> unwrap(const std::shared_ptr<platform::MachineView>& view) {
  return std::static_pointer_cast<MachineView>(view);
}

}  // namespace

std::vector<std::shared_ptr<platform::View>> subviewsOf(NSView* view, const Guard& guard) {
  std::vector<std::shared_ptr<platform::View>> views;
  guard([&] {
    for (NSView* subview in view.subviews) views.push_back(std::make_shared<View>(subview, guard));
  });
  return views;
}

std::optional<platform::Rect> visibleFrameOf(NSScreen* screen) {
  if (screen == nil) return std::nullopt;
  return fromNsRect(screen.visibleFrame);
}

platform::Window* MachineView::window() const {
  return guard().ask([this] { return object().window != nil; }) ? holder_ : nullptr;
}

// Closing would release a window made in code once more than ARC knows (Apple's NSWindow page,
// releasedWhenClosed).
Window::Window(const platform::WindowOptions& options, const BarLabels& labels, Guard guard)
    : guard_(std::move(guard)), labels_(labels) {
  guard_([&] {
    window_ = [[NSWindow alloc] initWithContentRect:toNsRect(options.contentRect)
                                          styleMask:options.styleMask
                                            backing:toBacking(options.backing)
                                              defer:options.defer];
    window_.releasedWhenClosed = NO;
  });
}

Window::~Window() {
  guard_([&] { window_.delegate = nil; });
  if (content_) content_->moveTo(nullptr);
}

std::int64_t Window::windowNumber() const {
  return guard_.ask([&] { return window_.windowNumber; });
}

void Window::setTitle(const std::string& title) {
  guard_([&] { window_.title = toText(title); });
}

// Whatever is wanted, this object holds the window for as long as it lives: there is nothing that
// closing could release.
void Window::setReleasedWhenClosed(platform::ReleasedWhenClosed) {
  guard_([&] { window_.releasedWhenClosed = NO; });
}

void Window::setDelegate(platform::WindowDelegate* delegate) {
  delegate_ = delegate != nullptr ? [[ParlenWindowDelegate alloc] initWithReceiver:delegate] : nil;
  guard_([&] { window_.delegate = delegate_; });
}

void Window::setContentView(const std::shared_ptr<platform::MachineView>& view) {
  const std::shared_ptr<MachineView> taken = unwrap(view);
  Window* const holder = taken ? taken->holder() : nullptr;
  if (holder != nullptr && holder != this) holder->setContentView(nullptr);
  if (content_) content_->moveTo(nullptr);
  content_ = taken;
  if (content_) content_->moveTo(this);
  guard_([&] { window_.contentView = content_ ? content_->object() : nil; });
}

void Window::setInitialFirstResponder(const std::shared_ptr<platform::MachineView>& view) {
  guard_([&] { window_.initialFirstResponder = view ? unwrap(view)->object() : nil; });
}

void Window::addTitlebarAccessory(const platform::TitlebarAccessory& accessory) {
  targets_.push_back([[NSMutableArray alloc] init]);
  guard_([&] {
    [window_ addTitlebarAccessoryViewController:makeAccessory(accessory, labels_, targets_.back())];
  });
}

bool Window::isVisible() const {
  return guard_.ask([&] { return window_.isVisible != NO; });
}

std::optional<platform::Rect> Window::screenVisibleFrame() const {
  return guard_.ask([&] { return visibleFrameOf(window_.screen); });
}

/// The window, with the height that its bar needs: AppKit computes it in the next layout only.
NSWindow* Window::laidOut() const {
  guard_([&] { [window_ layoutIfNeeded]; });
  return window_;
}

platform::Rect Window::frame() const {
  return guard_.ask([&] { return fromNsRect(laidOut().frame); });
}

platform::Rect Window::contentRectForFrameRect(const platform::Rect& frame) const {
  return guard_.ask([&] { return fromNsRect([laidOut() contentRectForFrameRect:toNsRect(frame)]); },
                    frame);
}

void Window::setFrame(const platform::Rect& frame, platform::Redraw redraw) {
  guard_([&] { [window_ setFrame:toNsRect(frame) display:redraw == platform::Redraw::atOnce]; });
}

void Window::setContentSize(const platform::Size& size) {
  guard_([&] { [window_ setContentSize:toNsSize(size)]; });
}

void Window::setContentAspectRatio(const platform::Size& ratio) {
  guard_([&] { window_.contentAspectRatio = toNsSize(ratio); });
}

void Window::makeKeyAndOrderFront() {
  guard_([&] {
    [window_ makeKeyAndOrderFront:nil];
    // The first call leaves the window behind those of the active application (Apple's NSWindow
    // page), which this one need not have become.
    [window_ orderFrontRegardless];
  });
}

void Window::orderOut() {
  guard_([&] { [window_ orderOut:nil]; });
}

bool Window::firstResponderIsMachineView() const {
  return guard_.ask(
      [&] { return [window_.firstResponder isKindOfClass:VZVirtualMachineView.class] != NO; });
}

bool Window::isFirstResponder(const platform::View& view) const {
  return guard_.ask([&] { return window_.firstResponder == unwrap(view); });
}

void Window::makeFirstResponder(const std::shared_ptr<platform::View>& view) {
  guard_([&] { [window_ makeFirstResponder:view ? unwrap(*view) : nil]; });
}

std::string Window::firstResponderDescription() const {
  const std::string none = "nil";
  return guard_.ask(
      [&] {
        NSResponder* responder = window_.firstResponder;
        return responder != nil ? fromText(responder.description) : none;
      },
      none);
}

}  // namespace parlen::macos
