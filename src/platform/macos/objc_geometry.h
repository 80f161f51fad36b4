#pragma once

#import <Foundation/Foundation.h>

#include "platform/geometry.h"

namespace parlen::macos {

// The promise's space is this system's own: points, y upward, origin at the main screen's corner.

inline NSRect toNsRect(const platform::Rect& rect) {
  return NSMakeRect(rect.x, rect.y, rect.width, rect.height);
}

inline NSSize toNsSize(const platform::Size& size) { return NSMakeSize(size.width, size.height); }

inline platform::Rect fromNsRect(NSRect rect) {
  return {
      .x = rect.origin.x, .y = rect.origin.y, .width = rect.size.width, .height = rect.size.height};
}

}  // namespace parlen::macos
