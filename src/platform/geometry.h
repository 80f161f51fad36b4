#pragma once

namespace parlen::platform {

// All lengths are in points. The origin of screen coordinates is the bottom-left corner of the main
// screen and y grows upward, as in AppKit; a host with other coordinates converts them.

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

/// x and y are those of the bottom-left corner.
struct Rect {
  double x = 0;
  double y = 0;
  double width = 0;
  double height = 0;
  friend bool operator==(const Rect&, const Rect&) = default;
};

}  // namespace parlen::platform
