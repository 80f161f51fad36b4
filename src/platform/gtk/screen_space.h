#pragma once

#include "platform/geometry.h"

/// The two spaces that a screen's places are named in: the promise's, with the origin at the main
/// screen's bottom-left corner and y growing upward, and the display server's, with the origin at
/// the top-left corner of all screens and y growing downward.
namespace parlen::gtk {

/// A rectangle of the display server's; x and y are the top-left corner.
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

/// Fractions of a point are cut off towards the promise's origin: no side grows. Far beyond any
/// screen, numbers are those of the farthest place that a display server can name.
ScreenRect toScreen(const platform::Rect& rect, const ScreenRect& mainScreen);

/// What is `chrome` lower than `frame` and has its bottom-left corner.
constexpr platform::Rect withoutTop(const platform::Rect& frame, double chrome) {
  return {frame.x, frame.y, frame.width, frame.height - chrome};
}

constexpr platform::Rect withTop(const platform::Rect& content, double chrome) {
  return {content.x, content.y, content.width, content.height + chrome};
}

}  // namespace parlen::gtk
