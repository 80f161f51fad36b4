#import "platform/macos/bridge.h"
#import "platform/macos/objc_window.h"
#import "platform/macos/objc_window_delegate.h"

namespace parlen::macos {
namespace {

// The promise's style bits are AppKit's own.
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

std::shared_ptr<MachineView> ours(const std::shared_ptr<platform::MachineView>& view) {
  return std::static_pointer_cast<MachineView>(view);
}

/// A window that is released when it is closed, as windows are unless they are told otherwise,
/// gives up a reference that ARC does not know of. This is that reference.
NSWindow* withReferenceForClosing(NSWindow* window) {
  (void)(__bridge_retained void*)window;
  return window;
}

}  // namespace

Window::Window(const platform::WindowOptions& options, const BarLabels& labels)
    : window_(withReferenceForClosing([[NSWindow alloc]
          initWithContentRect:toNsRect(options.contentRect)
                    styleMask:options.styleMask
                      backing:toBacking(options.backing)
                        defer:options.defer])),
      labels_(labels) {}

Window::~Window() {
  window_.delegate = nil;
  if (content_) content_->moveTo(nullptr);
}

std::int64_t Window::windowNumber() const { return window_.windowNumber; }

void Window::setTitle(const std::string& title) { window_.title = toText(title); }

void Window::setReleasedWhenClosed(platform::ReleasedWhenClosed released) {
  window_.releasedWhenClosed = released == platform::ReleasedWhenClosed::yes;
}

void Window::setDelegate(platform::WindowDelegate* delegate) {
  delegate_ = delegate != nullptr ? [[ParlenWindowDelegate alloc] initWithReceiver:delegate] : nil;
  window_.delegate = delegate_;
}

void Window::setContentView(const std::shared_ptr<platform::MachineView>& view) {
  if (content_) content_->moveTo(nullptr);
  content_ = ours(view);
  if (content_) content_->moveTo(this);
  window_.contentView = content_ ? content_->object() : nil;
}

void Window::setInitialFirstResponder(const std::shared_ptr<platform::MachineView>& view) {
  window_.initialFirstResponder = view ? ours(view)->object() : nil;
}

void Window::addTitlebarAccessory(const platform::TitlebarAccessory& accessory) {
  targets_.push_back([[NSMutableArray alloc] init]);
  [window_ addTitlebarAccessoryViewController:makeAccessory(accessory, labels_, targets_.back())];
}

bool Window::isVisible() const { return window_.isVisible; }

std::optional<platform::Rect> Window::screenVisibleFrame() const {
  if (window_.screen == nil) return std::nullopt;
  return fromNsRect(window_.screen.visibleFrame);
}

platform::Rect Window::frame() const { return fromNsRect(window_.frame); }

platform::Rect Window::contentRectForFrameRect(const platform::Rect& frame) const {
  return fromNsRect([window_ contentRectForFrameRect:toNsRect(frame)]);
}

void Window::setFrame(const platform::Rect& frame, platform::Redraw redraw) {
  [window_ setFrame:toNsRect(frame) display:redraw == platform::Redraw::atOnce];
}

void Window::setContentSize(const platform::Size& size) { [window_ setContentSize:toNsSize(size)]; }

void Window::setContentAspectRatio(const platform::Size& ratio) {
  window_.contentAspectRatio = toNsSize(ratio);
}

void Window::makeKeyAndOrderFront() { [window_ makeKeyAndOrderFront:nil]; }

void Window::orderOut() { [window_ orderOut:nil]; }

bool Window::firstResponderIsMachineView() const {
  return [window_.firstResponder isKindOfClass:VZVirtualMachineView.class];
}

bool Window::isFirstResponder(const platform::View& view) const {
  return window_.firstResponder == opened(view);
}

void Window::makeFirstResponder(const std::shared_ptr<platform::View>& view) {
  [window_ makeFirstResponder:view ? opened(*view) : nil];
}

std::string Window::firstResponderDescription() const {
  NSResponder* responder = window_.firstResponder;
  return responder != nil ? fromText(responder.description) : "nil";
}

}  // namespace parlen::macos
