#import "platform/macos/objc_bar.h"

#include <variant>

#import "platform/macos/bridge.h"
#import "platform/macos/objc_bar_values.h"
#import "platform/macos/objc_button_target.h"

namespace parlen::macos {
namespace {

constexpr auto horizontal = NSLayoutConstraintOrientationHorizontal;

/// Makes the view of each kind of part; a visitor of them.
class BarBuilder {
 public:
  BarBuilder(const BarLabels& labels, BarTargets targets) : labels_(labels), targets_(targets) {}

  NSView* operator()(const platform::BarImage& image) const {
    NSImageView* view =
        [NSImageView imageViewWithImage:NSApplication.sharedApplication.applicationIconImage];
    view.translatesAutoresizingMaskIntoConstraints = NO;
    [NSLayoutConstraint activateConstraints:@[
      [view.widthAnchor constraintEqualToConstant:image.width],
      [view.heightAnchor constraintEqualToConstant:image.height]
    ]];
    return view;
  }

  NSView* operator()(const platform::BarText& text) const {
    NSTextField* label = labels_.of(text.label);
    label.font = toFont(text.face, text.size);
    if (text.textColor) label.textColor = toColor(*text.textColor);
    label.lineBreakMode = toLineBreakMode(text.lineBreakMode);
    [label setContentCompressionResistancePriority:static_cast<float>(text.compressionResistance)
                                    forOrientation:horizontal];
    return label;
  }

  NSView* operator()(const platform::BarSpacer&) const { return [[NSView alloc] init]; }

  NSView* operator()(const platform::BarButton& description) const {
    ParlenButtonTarget* target = [[ParlenButtonTarget alloc] initWithPressed:description.pressed];
    [targets_ addObject:target];
    NSButton* button = [NSButton buttonWithTitle:toText(description.title)
                                          target:target
                                          action:@selector(clicked:)];
    button.keyEquivalent = toText(description.keyEquivalent);
    if (description.bezelColor) button.bezelColor = toColor(*description.bezelColor);
    return button;
  }

  NSView* operator()(const std::shared_ptr<platform::BarStack>& stack) const {
    return (*this)(*stack);
  }

  NSStackView* operator()(const platform::BarStack& description) const {
    NSMutableArray<NSView*>* views = [NSMutableArray arrayWithCapacity:description.views.size()];
    for (const platform::BarView& view : description.views)
      [views addObject:std::visit(*this, view)];
    NSStackView* stack = [NSStackView stackViewWithViews:views];
    stack.orientation = toOrientation(description.orientation);
    stack.alignment = toAlignment(description.alignment);
    stack.spacing = description.spacing;
    if (description.outer) finish(stack, *description.outer);
    return stack;
  }

 private:
  static void finish(NSStackView* stack, const platform::OuterStack& outer) {
    stack.edgeInsets = toEdgeInsets(outer.edgeInsets);
    [stack setHuggingPriority:static_cast<float>(outer.huggingPriority) forOrientation:horizontal];
    stack.frame = toNsRect(outer.frame);
  }

  BarLabels labels_;
  BarTargets targets_;
};

}  // namespace

NSTextField* BarLabels::of(platform::BarLabel label) const {
  switch (label) {
    case platform::BarLabel::title:
      return title;
    case platform::BarLabel::detail:
      return detail;
  }
}

BarLabels makeBarLabels() {
  return {.title = [NSTextField labelWithString:@""], .detail = [NSTextField labelWithString:@""]};
}

NSTitlebarAccessoryViewController* makeAccessory(const platform::TitlebarAccessory& accessory,
                                                 const BarLabels& labels, BarTargets targets) {
  NSTitlebarAccessoryViewController* controller =
      [[NSTitlebarAccessoryViewController alloc] initWithNibName:nil bundle:nil];
  controller.layoutAttribute = toLayoutAttribute(accessory.layoutAttribute);
  // Set before the window is given the controller, which would look for a view in a nib file.
  controller.view = BarBuilder(labels, targets)(accessory.bar);
  return controller;
}

}  // namespace parlen::macos
