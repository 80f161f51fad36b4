#pragma once

#include "platform/geometry.h"

namespace parlen {

/// The space in points that a guest's window leaves free on each side of the screen's usable part.
inline constexpr double guestWindowMargin = 20.0;

/// A window's place on the screen. Both rectangles have the same origin; `frame` is taller by the
/// window's chrome.
struct GuestFrames {
  platform::Rect content;
  platform::Rect frame;

  friend bool operator==(const GuestFrames&, const GuestFrames&) = default;
};

/// Where a guest's window goes: the guest's natural size (`guestPixels` / `guestScale`), shrunk to
/// fit but never enlarged, centred in `visibleFrame`, which is the part of the screen that windows
/// may use. `chrome` is the height that the window adds above its content. Origin and content size
/// are whole numbers, rounded down. Numbers that make no sense give a result that makes none
/// (infinite, not a number), and nothing worse. Any thread.
GuestFrames guestWindowFrame(platform::Size guestPixels, double guestScale,
                             platform::Rect visibleFrame, double chrome,
                             double margin = guestWindowMargin);

}  // namespace parlen
