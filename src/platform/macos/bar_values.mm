#import "platform/macos/objc_bar_values.h"

namespace parlen::macos {
namespace {

CGFloat pointsOf(platform::FontSize size) {
  switch (size) {
    case platform::FontSize::standard:
      return NSFont.systemFontSize;
    case platform::FontSize::small:
      return NSFont.smallSystemFontSize;
  }
}

}  // namespace

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

}  // namespace parlen::macos
