#include "platform/gtk/screen_space.h"

#include <algorithm>
#include <cmath>

namespace parlen::gtk {
namespace {

int whole(double number) {
  constexpr double farthest = 32767;  // the protocol's coordinates have 16 bits
  // Also turns what is not a number into one.
  return static_cast<int>(std::floor(std::min(std::max(-farthest, number), farthest)));
}

}  // namespace

ScreenRect toScreen(const platform::Rect& rect, const ScreenRect& mainScreen) {
  const int x = whole(rect.x);
  const int y = whole(rect.y);
  const int width = std::max(whole(rect.width), 0);
  const int height = std::max(whole(rect.height), 0);
  return {.x = mainScreen.x + x,
          .y = mainScreen.y + mainScreen.height - y - height,
          .width = width,
          .height = height};
}

}  // namespace parlen::gtk
