#pragma once

#include <optional>
#include <string>

#include "platform/geometry.h"

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

/// Answers where a guest's window would go for the numbers in these options' texts, without a
/// screen: writes one `window-size` line and ends the process with status 0, or with a usage error.
/// A place that has no 64-bit coordinates is a trap, with nothing written. Main thread, at
/// start-up.
[[noreturn]] void windowSizeCheck(const std::optional<std::string>& guest,
                                  const std::optional<std::string>& scale,
                                  const std::optional<std::string>& visible,
                                  const std::optional<std::string>& chrome);

}  // namespace parlen
