#import "platform/macos/objc_view.h"
#import "platform/macos/objc_window.h"

namespace parlen::macos {
namespace {

using View = ViewOf<platform::View, NSView>;

}  // namespace

NSView* opened(const platform::View& view) {
  return dynamic_cast<const NativeView&>(view).native();
}

std::vector<std::shared_ptr<platform::View>> subviewsOf(NSView* view) {
  std::vector<std::shared_ptr<platform::View>> views;
  for (NSView* subview in view.subviews) views.push_back(std::make_shared<View>(subview));
  return views;
}

platform::Window* MachineView::window() const { return object().window != nil ? window_ : nullptr; }

}  // namespace parlen::macos
