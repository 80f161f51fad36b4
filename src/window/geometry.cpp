#include "window/geometry.h"

#include <algorithm>
#include <cstdint>

namespace parlen {
namespace {

/// Rounds towards minus infinity. std::floor would draw the mathematical library into the program.
double roundedDown(double value) {
  // From here on, every double is a whole number already (and what is not a number stays so).
  constexpr double allWhole = 4503599627370496.0;  // 2^52
  if (!(value > -allWhole && value < allWhole)) return value;
  const auto truncated = static_cast<double>(static_cast<std::int64_t>(value));
  return truncated > value ? truncated - 1 : truncated;
}

}  // namespace

GuestFrames guestWindowFrame(platform::Size guestPixels, double guestScale,
                             platform::Rect visibleFrame, double chrome, double margin) {
  const platform::Size natural{guestPixels.width / guestScale, guestPixels.height / guestScale};
  // At least a point, so that an absurdly small screen still gives a factor to scale by.
  const platform::Size available{std::max(visibleFrame.width - 2 * margin, 1.0),
                                 std::max(visibleFrame.height - 2 * margin - chrome, 1.0)};
  const double fit =
      std::min({1.0, available.width / natural.width, available.height / natural.height});

  // The width decides and the height follows from it as rounded: rounding each by itself would
  // give the content other proportions than the guest.
  const double width = roundedDown(natural.width * fit);
  const double height = roundedDown(natural.height * width / natural.width);
  const double x = roundedDown(visibleFrame.x + (visibleFrame.width - width) * 0.5);
  const double y = roundedDown(visibleFrame.y + (visibleFrame.height - height - chrome) * 0.5);
  return {{x, y, width, height}, {x, y, width, height + chrome}};
}

}  // namespace parlen
