#pragma once

#include <optional>
#include <string>

#include "platform/geometry.h"
#include "window/geometry.h"

namespace parlen {

/// The numbers to place a window for, as guestWindowFrame takes them.
struct WindowSizeRequest {
  platform::Size guestPixels;
  double guestScale = 1;
  platform::Rect visibleFrame;
  double chrome = 0;

  friend bool operator==(const WindowSizeRequest&, const WindowSizeRequest&) = default;
};

/// Reads the options' texts: `guest` "WxH", `visible` "x,y,width,height", `scale` above 0 and
/// `chrome` single numbers. What was not given is the guest's own display, nothing, 1 and 0.
/// Pieces of a list that are no number are passed over; nothing is returned unless the lists then
/// have exactly their two and four, and the single numbers are numbers. A number is what the C
/// library's strtod reads, so infinities and values that are no number are possible.
std::optional<WindowSizeRequest> parseWindowSizeRequest(const std::optional<std::string>& guest,
                                                        const std::optional<std::string>& scale,
                                                        const std::optional<std::string>& visible,
                                                        const std::optional<std::string>& chrome);

}  // namespace parlen
