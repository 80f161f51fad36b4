// Stands for what the bar under the title is made of: stack views, labels, buttons, images, fonts,
// colors, constraints and view controllers. They keep what the program sets, and from that the bar
// is described as the simulated host has it. From Apple's pages: a view controller without a view
// looks for a nib file, which this program has not; a control does not own its target.
//
// It cannot show layout: no text is measured and nothing is drawn.
#import "appkit.h"

#include <utility>

#import "platform/macos/bridge.h"
#include "platform/simulated/window_system.h"

// NSObject.h of the stand-in headers has what the program calls only.
@interface NSObject (ParlenPerform)
- (id)performSelector:(SEL)selector withObject:(id)object;
@end
@interface NSButton ()
- (void)performClick:(id)sender;
@end

using namespace parlen;
using macos::fromText;

namespace {

// Apple's page of NSFont has no numbers; they only have to differ.
constexpr CGFloat systemSize = 13;
constexpr CGFloat smallSize = 11;

}  // namespace

// ---- Fonts and colors ----

@implementation NSFont {
 @public
  BOOL _bold;
  CGFloat _size;
}
+ (CGFloat)systemFontSize {
  return systemSize;
}
+ (CGFloat)smallSystemFontSize {
  return smallSize;
}
+ (NSFont*)systemFontOfSize:(CGFloat)size {
  NSFont* font = [[NSFont alloc] init];
  font->_size = size;
  return font;
}
+ (NSFont*)boldSystemFontOfSize:(CGFloat)size {
  NSFont* font = [NSFont systemFontOfSize:size];
  font->_bold = YES;
  return font;
}
- (id)copyWithZone:(NSZone*)zone {
  return self;
}
@end

@implementation NSColor
+ (NSColor*)secondaryLabelColor {
  static NSColor* color = [[NSColor alloc] init];
  return color;
}
+ (NSColor*)controlAccentColor {
  static NSColor* color = [[NSColor alloc] init];
  return color;
}
- (id)copyWithZone:(NSZone*)zone {
  return self;
}
@end

// ---- Constraints: widths and heights only ----

@implementation NSLayoutConstraint {
 @public
  __weak NSView* _view;
  NSLayoutAttribute _attribute;
}
@synthesize constant, active;
+ (void)activateConstraints:(NSArray<NSLayoutConstraint*>*)constraints {
  for (NSLayoutConstraint* constraint in constraints) {
    // NSView.translatesAutoresizingMaskIntoConstraints: constraints of the mask would conflict.
    if (constraint->_view.translatesAutoresizingMaskIntoConstraints)
      harness::raise(@"a constraint on a view that still has those of its mask");
    constraint.active = YES;
    [constraint->_view addConstraint:constraint];
  }
}
@end

@implementation NSLayoutAnchor
- (id)copyWithZone:(NSZone*)zone {
  return self;
}
@end

@implementation NSLayoutDimension {
 @public
  __weak NSView* _view;
  NSLayoutAttribute _attribute;
}
- (NSLayoutConstraint*)constraintEqualToConstant:(CGFloat)constant {
  NSLayoutConstraint* constraint = [[NSLayoutConstraint alloc] init];
  constraint->_view = _view;
  constraint->_attribute = _attribute;
  constraint.constant = constant;
  return constraint;
}
@end

/// What a view of the bar keeps for Auto Layout. There is no public class for it.
@interface ParlenLayout : NSObject
@property BOOL keepsMask;
@property float compressionResistance;
@property NSMutableArray<NSLayoutConstraint*>* constraints;
@end
@implementation ParlenLayout
@synthesize keepsMask, compressionResistance, constraints;
@end

namespace {

/// By the view's address; a view that is gone leaves its entry to the next one.
ParlenLayout* layoutOf(NSView* view) {
  static NSMutableDictionary<NSNumber*, ParlenLayout*>* layouts =
      [[NSMutableDictionary alloc] init];
  NSNumber* key =
      [NSNumber numberWithUnsignedLong:reinterpret_cast<unsigned long>((__bridge void*)view)];
  ParlenLayout* layout = [layouts objectForKey:key];
  if (layout == nil) {
    layout = [[ParlenLayout alloc] init];
    layout.keepsMask = YES;
    layout.constraints = [NSMutableArray array];
    [layouts setObject:layout forKey:key];
  }
  return layout;
}

NSLayoutDimension* dimensionOf(NSView* view, NSLayoutAttribute attribute) {
  NSLayoutDimension* dimension = [[NSLayoutDimension alloc] init];
  dimension->_view = view;
  dimension->_attribute = attribute;
  return dimension;
}

CGFloat constraintOf(NSView* view, NSLayoutAttribute attribute) {
  for (NSLayoutConstraint* constraint in layoutOf(view).constraints) {
    if (constraint->_attribute == attribute) return constraint.constant;
  }
  return 0;
}

}  // namespace

@implementation NSView (ParlenLayout)
- (NSLayoutDimension*)widthAnchor {
  return dimensionOf(self, NSLayoutAttributeWidth);
}
- (NSLayoutDimension*)heightAnchor {
  return dimensionOf(self, NSLayoutAttributeHeight);
}
- (void)addConstraint:(NSLayoutConstraint*)constraint {
  [layoutOf(self).constraints addObject:constraint];
}
- (BOOL)translatesAutoresizingMaskIntoConstraints {
  return layoutOf(self).keepsMask;
}
- (void)setTranslatesAutoresizingMaskIntoConstraints:(BOOL)translates {
  layoutOf(self).keepsMask = translates;
}
- (void)setContentCompressionResistancePriority:(NSLayoutPriority)priority
                                 forOrientation:(NSLayoutConstraintOrientation)orientation {
  if (orientation == NSLayoutConstraintOrientationHorizontal)
    layoutOf(self).compressionResistance = priority;
}
@end

@implementation NSStackView {
 @public
  float _huggingPriority;
  NSArray<NSView*>* _arranged;
}
@synthesize orientation, alignment, edgeInsets, spacing;
+ (instancetype)stackViewWithViews:(NSArray<NSView*>*)views {
  NSStackView* stack = [[self alloc] initWithFrame:NSMakeRect(0, 0, 0, 0)];
  stack->_arranged = [views copy];
  for (NSView* view in views) [stack addSubview:view];
  return stack;
}
- (NSArray*)arrangedSubviews {
  return _arranged;
}
- (void)setHuggingPriority:(NSLayoutPriority)priority
            forOrientation:(NSLayoutConstraintOrientation)orientation_ {
  if (orientation_ == NSLayoutConstraintOrientationHorizontal) _huggingPriority = priority;
}
@end

// ---- Controls ----

@implementation NSControl
@synthesize target, action, stringValue, font, lineBreakMode;
@end

@implementation NSImageView
@synthesize image;
+ (instancetype)imageViewWithImage:(NSImage*)image {
  NSImageView* view = [[self alloc] initWithFrame:NSMakeRect(0, 0, 0, 0)];
  if (image == nil) harness::raise(@"an image view without an image");
  view.image = image;
  return view;
}
@end

@implementation NSButton
@synthesize title, keyEquivalent, bezelColor;
+ (instancetype)buttonWithTitle:(NSString*)title target:(id)target action:(SEL)action {
  NSButton* button = [[self alloc] initWithFrame:NSMakeRect(0, 0, 0, 0)];
  button.title = title;
  button.target = target;
  button.action = action;
  button.keyEquivalent = @"";
  return button;
}
// NSControl sends its action to its target; without one, or to one that is gone, nothing.
- (void)performClick:(id)sender {
  id receiver = self.target;
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Warc-performSelector-leaks"
  [receiver performSelector:self.action withObject:self];  // an action returns nothing
#pragma clang diagnostic pop
}
@end

namespace {

/// The labels in the order in which they were made: the program makes the title first.
NSMutableArray<NSTextField*>* labels() {
  static NSMutableArray<NSTextField*>* all = [NSMutableArray array];
  return all;
}

platform::BarLabel roleOf(NSTextField* label) {
  return label == [labels() objectAtIndex:0] ? platform::BarLabel::title
                                             : platform::BarLabel::detail;
}

}  // namespace

@implementation NSTextField
@synthesize textColor;
+ (instancetype)labelWithString:(NSString*)text {
  if (NSApp == nil) harness::raise(@"a label before the application, whose font it has");
  NSTextField* label = [[self alloc] initWithFrame:NSMakeRect(0, 0, 0, 0)];
  [labels() addObject:label];
  return label;
}
- (void)setStringValue:(NSString*)text {
  harness::requireMainThread(@"setStringValue:");
  if (text == nil) harness::raise(@"a label's text is not nil");
  simulated::WindowSystem(harness::world()).setLabelText(roleOf(self), fromText(text));
  [super setStringValue:text];
}
@end

// ---- View controllers ----

@implementation NSViewController {
  NSView* _view;
}
@synthesize identifier;
- (instancetype)initWithNibName:(NSNibName)name bundle:(NSBundle*)bundle {
  return self = [super init];
}
- (NSView*)view {
  if (_view == nil) harness::raise(@"a view controller without a view finds no nib file");
  return _view;
}
- (void)setView:(NSView*)view {
  _view = view;
}
@end

@implementation NSTitlebarAccessoryViewController
@synthesize layoutAttribute;
@end

// ---- The description ----

namespace {

platform::NamedColor nameOf(NSColor* color) {
  if (color == NSColor.secondaryLabelColor) return platform::NamedColor::secondaryLabel;
  if (color == NSColor.controlAccentColor) return platform::NamedColor::controlAccent;
  harness::raise(@"a color without a name here");
}

std::optional<platform::NamedColor> nameOfSet(NSColor* color) {
  if (color == nil) return std::nullopt;
  return nameOf(color);
}

platform::BarView describeImage(NSView* view) {
  return platform::BarImage{.width = constraintOf(view, NSLayoutAttributeWidth),
                            .height = constraintOf(view, NSLayoutAttributeHeight)};
}

platform::BarView describeLabel(NSTextField* label) {
  const bool isSmall = label.font->_size == smallSize;
  return platform::BarText{
      .label = roleOf(label),
      .face = label.font->_bold ? platform::FontFace::boldSystem : platform::FontFace::system,
      .size = isSmall ? platform::FontSize::small : platform::FontSize::standard,
      .textColor = nameOfSet(label.textColor),
      .lineBreakMode = static_cast<platform::LineBreakMode>(label.lineBreakMode),
      .compressionResistance = layoutOf(label).compressionResistance};
}

platform::BarView describeButton(NSButton* button) {
  return platform::BarButton{.title = fromText(button.title),
                             .keyEquivalent = fromText(button.keyEquivalent),
                             .bezelColor = nameOfSet(button.bezelColor),
                             .onPress = [button] { [button performClick:nil]; }};
}

platform::BarStack describeStack(NSStackView* stack);

platform::BarView describeView(NSView* view) {
  if ([view isKindOfClass:NSStackView.class]) {
    return std::make_shared<platform::BarStack>(describeStack(static_cast<NSStackView*>(view)));
  }
  if ([view isKindOfClass:NSImageView.class]) return describeImage(view);
  if ([view isKindOfClass:NSTextField.class]) return describeLabel(static_cast<NSTextField*>(view));
  if ([view isKindOfClass:NSButton.class]) return describeButton(static_cast<NSButton*>(view));
  return platform::BarSpacer{};
}

platform::BarStack describeStack(NSStackView* stack) {
  platform::BarStack bar{.orientation = static_cast<platform::Orientation>(stack.orientation),
                         .alignment = static_cast<platform::StackAlignment>(stack.alignment),
                         .spacing = stack.spacing};
  for (NSView* view in stack.arrangedSubviews) bar.views.push_back(describeView(view));
  return bar;
}

}  // namespace

platform::TitlebarAccessory harness::describe(NSTitlebarAccessoryViewController* controller) {
  auto* stack = static_cast<NSStackView*>(controller.view);
  const NSEdgeInsets insets = stack.edgeInsets;
  platform::BarStack bar = describeStack(stack);
  bar.outer = {.edgeInsets = {insets.top, insets.left, insets.bottom, insets.right},
               .huggingPriority = stack->_huggingPriority,
               .frame = toRect(stack.frame)};
  return {.layoutAttribute = static_cast<platform::LayoutAttribute>(controller.layoutAttribute),
          .bar = std::move(bar)};
}
