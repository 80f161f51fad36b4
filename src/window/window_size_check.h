#pragma once

#include <optional>
#include <string>

#include "platform/geometry.h"

namespace parlen {

/// The input of guestWindowFrame, as given on the command line.
struct WindowSizeRequest {
  platform::Size guestPixels;
  double guestScale = 1;
  platform::Rect visibleFrame;
  double chrome = 0;

  friend bool operator==(const WindowSizeRequest&, const WindowSizeRequest&) = default;
};

/// Reads the values of the options: `guest` is "WxH" in pixels (default: the guest's display),
/// `scale` a number above 0 (default 1), `visible` "x,y,width,height" in points (required) and
/// `chrome` a number of points (default 0). Pieces of the two lists that are no number are skipped.
/// Nullopt unless the lists then have two and four numbers and the others are numbers. A number is
/// what strtod reads in the C locale, so it can be infinite or not a number. Any thread.
std::optional<WindowSizeRequest> parseWindowSizeRequest(const std::optional<std::string>& guest,
                                                        const std::optional<std::string>& scale,
                                                        const std::optional<std::string>& visible,
                                                        const std::optional<std::string>& chrome);

/// Computes, without a screen, where a guest's window would go for these options. Writes one
/// `window-size` event and ends the process with status 0, or with a usage error if the options
/// cannot be read. Traps, with nothing written, if a coordinate does not fit 64 bits. Main thread.
[[noreturn]] void windowSizeCheck(const std::optional<std::string>& guest,
                                  const std::optional<std::string>& scale,
                                  const std::optional<std::string>& visible,
                                  const std::optional<std::string>& chrome);

}  // namespace parlen
