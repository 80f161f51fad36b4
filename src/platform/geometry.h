#pragma once

namespace parlen::platform {

// Lengths are in screen points. The origin of the screen space is the bottom-left corner of the
// main screen and y grows upward; a host whose own space differs converts at its edge.

struct Point {
  double x = 0;
  double y = 0;
  friend bool operator==(const Point&, const Point&) = default;
};

struct Size {
  double width = 0;
  double height = 0;
  friend bool operator==(const Size&, const Size&) = default;
};

/// x and y are the bottom-left corner.
struct Rect {
  double x = 0;
  double y = 0;
  double width = 0;
  double height = 0;
  friend bool operator==(const Rect&, const Rect&) = default;
};

}  // namespace parlen::platform
