#import "platform/macos/bar.h"

#include <functional>
#include <utility>
#include <variant>

#import "platform/macos/bridge.h"

/// Calls a function for each press of a button, whichever of the bar's two actions it sends.
@interface ParlenButtonTarget : NSObject
- (instancetype)initWithOnPress:(std::function<void()>)onPress;
- (void)clickedLater:(id)sender;
- (void)clickedDone:(id)sender;
@end

@implementation ParlenButtonTarget {
  std::function<void()> _onPress;
}

- (instancetype)initWithOnPress:(std::function<void()>)onPress {
  self = [super init];
  _onPress = std::move(onPress);
  return self;
}

- (void)clickedLater:(id)sender {
  parlen::macos::callBack(_onPress);
}

- (void)clickedDone:(id)sender {
  parlen::macos::callBack(_onPress);
}

@end

namespace parlen::macos {
namespace {

NSLineBreakMode toLineBreakMode(platform::LineBreakMode mode) {
  switch (mode) {
    case platform::LineBreakMode::truncatingTail:
      return NSLineBreakByTruncatingTail;
  }
}

NSUserInterfaceLayoutOrientation toOrientation(platform::Orientation orientation) {
  switch (orientation) {
    case platform::Orientation::horizontal:
      return NSUserInterfaceLayoutOrientationHorizontal;
    case platform::Orientation::vertical:
      return NSUserInterfaceLayoutOrientationVertical;
  }
}

NSLayoutAttribute toAlignment(platform::StackAlignment alignment) {
  switch (alignment) {
    case platform::StackAlignment::leading:
      return NSLayoutAttributeLeading;
    case platform::StackAlignment::centerY:
      return NSLayoutAttributeCenterY;
  }
}

NSLayoutAttribute toLayoutAttribute(platform::LayoutAttribute attribute) {
  switch (attribute) {
    case platform::LayoutAttribute::bottom:
      return NSLayoutAttributeBottom;
  }
}

CGFloat pointsOf(platform::FontSize size) {
  switch (size) {
    case platform::FontSize::standard:
      return NSFont.systemFontSize;
    case platform::FontSize::small:
      return NSFont.smallSystemFontSize;
  }
}

NSFont* toFont(platform::FontFace face, platform::FontSize size) {
  switch (face) {
    case platform::FontFace::system:
      return [NSFont systemFontOfSize:pointsOf(size)];
    case platform::FontFace::boldSystem:
      return [NSFont boldSystemFontOfSize:pointsOf(size)];
  }
}

NSColor* toColor(platform::NamedColor color) {
  switch (color) {
    case platform::NamedColor::secondaryLabel:
      return NSColor.secondaryLabelColor;
    case platform::NamedColor::controlAccent:
      return NSColor.controlAccentColor;
  }
}

NSEdgeInsets toEdgeInsets(const platform::EdgeInsets& insets) {
  return NSEdgeInsetsMake(insets.top, insets.left, insets.bottom, insets.right);
}

constexpr auto horizontal = NSLayoutConstraintOrientationHorizontal;

/// Makes the view of each kind of part; a visitor of platform::BarView.
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
    ParlenButtonTarget* target = [[ParlenButtonTarget alloc] initWithOnPress:description.onPress];
    [targets_ addObject:target];
    NSButton* button = [NSButton buttonWithTitle:toText(description.title)
                                          target:target
                                          action:NSSelectorFromString(toText(description.action))];
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
  // Set before the controller is added to a window: NSViewController without a view looks for a
  // nib file.
  controller.view = BarBuilder(labels, targets)(accessory.bar);
  return controller;
}

}  // namespace parlen::macos
