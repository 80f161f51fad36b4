#include "window/geometry.h"

#include <algorithm>
#include <cstdint>

namespace parlen {
namespace {

/// Rounds towards minus infinity. Not std::floor: the program would have to link the math library.
double roundedDown(double value) {
  // A double of this magnitude or above is a whole number; NaN is returned too.
  constexpr double allWhole = 4503599627370496.0;  // 2^52
  if (!(value > -allWhole && value < allWhole)) return value;
  const auto truncated = static_cast<double>(static_cast<std::int64_t>(value));
  return truncated > value ? truncated - 1 : truncated;
}

}  // namespace

GuestFrames guestWindowFrame(platform::Size guestPixels, double guestScale,
                             platform::Rect visibleFrame, double chrome, double margin) {
  const platform::Size natural{guestPixels.width / guestScale, guestPixels.height / guestScale};
  // At least one point, so that the scale factor stays positive on a tiny screen.
  const platform::Size available{std::max(visibleFrame.width - 2 * margin, 1.0),
                                 std::max(visibleFrame.height - 2 * margin - chrome, 1.0)};
  const double fit =
      std::min({1.0, available.width / natural.width, available.height / natural.height});

  // The height is computed from the rounded width: rounding both separately would give the content
  // other proportions than the guest.
  const double width = roundedDown(natural.width * fit);
  const double height = roundedDown(natural.height * width / natural.width);
  const double x = roundedDown(visibleFrame.x + (visibleFrame.width - width) * 0.5);
  const double y = roundedDown(visibleFrame.y + (visibleFrame.height - height - chrome) * 0.5);
  return {{x, y, width, height}, {x, y, width, height + chrome}};
}

}  // namespace parlen
