#pragma once

#include "platform/geometry.h"

/// Conversion between the two coordinate systems of a screen: the platform's, with the origin at
/// the main screen's bottom-left corner and y growing upward, and the display server's, with the
/// origin at the top-left corner of all screens together and y growing downward.
namespace parlen::gtk {

/// A rectangle in the display server's coordinates; x and y are the top-left corner.
struct ScreenRect {
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;
  friend bool operator==(const ScreenRect&, const ScreenRect&) = default;
};

constexpr platform::Rect fromScreen(const ScreenRect& rect, const ScreenRect& mainScreen) {
  return {.x = static_cast<double>(rect.x - mainScreen.x),
          .y = static_cast<double>(mainScreen.y + mainScreen.height - rect.y - rect.height),
          .width = static_cast<double>(rect.width),
          .height = static_cast<double>(rect.height)};
}

/// Each number is rounded down, so that no side grows, and clamped to what X can name, +-32767;
/// NaN becomes the lower end, and a negative width or height 0.
ScreenRect toScreen(const platform::Rect& rect, const ScreenRect& mainScreen);

/// `frame` without the topmost `chrome` points.
constexpr platform::Rect withoutTop(const platform::Rect& frame, double chrome) {
  return {frame.x, frame.y, frame.width, frame.height - chrome};
}

/// `content` with `chrome` points more at its top.
constexpr platform::Rect withTop(const platform::Rect& content, double chrome) {
  return {content.x, content.y, content.width, content.height + chrome};
}

}  // namespace parlen::gtk
