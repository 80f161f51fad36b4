#include "platform/gtk/screen_space.h"

#include <algorithm>
#include <cmath>

namespace parlen::gtk {
namespace {

/// The order of the arguments matters: with NaN both functions return their first one.
int clampToScreen(double number) {
  // X11 protocol, requests ConfigureWindow and CreateWindow: x and y are INT16.
  constexpr double max = 32767;
  return static_cast<int>(std::floor(std::min(std::max(-max, number), max)));
}

}  // namespace

ScreenRect toScreen(const platform::Rect& rect, const ScreenRect& mainScreen) {
  const int x = clampToScreen(rect.x);
  const int y = clampToScreen(rect.y);
  const int width = std::max(clampToScreen(rect.width), 0);
  const int height = std::max(clampToScreen(rect.height), 0);
  return {.x = mainScreen.x + x,
          .y = mainScreen.y + mainScreen.height - y - height,
          .width = width,
          .height = height};
}

}  // namespace parlen::gtk
