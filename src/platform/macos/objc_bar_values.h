#pragma once

#import <AppKit/AppKit.h>

#include "platform/bar.h"

// The bar's words in AppKit's own.
namespace parlen::macos {

NSLineBreakMode toLineBreakMode(platform::LineBreakMode mode);
NSUserInterfaceLayoutOrientation toOrientation(platform::Orientation orientation);
NSLayoutAttribute toAlignment(platform::StackAlignment alignment);
NSLayoutAttribute toLayoutAttribute(platform::LayoutAttribute attribute);
NSFont* toFont(platform::FontFace face, platform::FontSize size);
NSColor* toColor(platform::NamedColor color);
NSEdgeInsets toEdgeInsets(const platform::EdgeInsets& insets);

}  // namespace parlen::macos
