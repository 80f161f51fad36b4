#pragma once

#include "platform/geometry.h"

namespace parlen {

/// The distance in points that a guest's window keeps from each edge of the visible frame.
inline constexpr double guestWindowMargin = 20.0;

/// A window's place on the screen, in points. Both rectangles have the same origin; `frame` is
/// taller by the height of the window's chrome.
struct GuestFrames {
  platform::Rect content;
  platform::Rect frame;

  friend bool operator==(const GuestFrames&, const GuestFrames&) = default;
};

/// Computes where a guest's window goes: centred in `visibleFrame`, the part of the screen that
/// windows may use, with the guest's natural size (`guestPixels` / `guestScale`) or, if that does
/// not fit, shrunk in proportion. `chrome` is the height in points that the window adds above its
/// content. The origin and the content's size are whole numbers, rounded down. Input that makes no
/// sense gives infinities or NaN in the result, never undefined behavior. Any thread.
GuestFrames guestWindowFrame(platform::Size guestPixels, double guestScale,
                             platform::Rect visibleFrame, double chrome,
                             double margin = guestWindowMargin);

}  // namespace parlen
