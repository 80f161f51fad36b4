#include "window/window_size_check.h"

#include <cstdint>

#include "events/error_code.h"
#include "events/event_stream.h"
#include "platform/platform.h"
#include "window/geometry.h"
#include "window/window_size_request.h"

namespace parlen {
namespace {

/// `value` without its fraction. Traps if that is no 64-bit number.
std::string integer(double value) {
  constexpr double limit = 9223372036854775808.0;  // 2^63
  if (!(value >= -limit && value < limit)) platform::system().process().trap();
  return std::to_string(static_cast<std::int64_t>(value));
}

std::string json(const platform::Rect& rect) {
  return R"({"x":)" + integer(rect.x) + R"(,"y":)" + integer(rect.y) + R"(,"width":)" +
         integer(rect.width) + R"(,"height":)" + integer(rect.height) + "}";
}

}  // namespace

void windowSizeCheck(const std::optional<std::string>& guest,
                     const std::optional<std::string>& scale,
                     const std::optional<std::string>& visible,
                     const std::optional<std::string>& chrome) {
  const auto request = parseWindowSizeRequest(guest, scale, visible, chrome);
  if (!request) {
    die(errorCode::badUsage,
        "window-size-check --visible x,y,w,h [--guest WxH] [--scale n] [--chrome pt]");
  }
  const GuestFrames frames = guestWindowFrame(request->guestPixels, request->guestScale,
                                              request->visibleFrame, request->chrome);
  // One whole line or none: every number is converted before the first byte is written.
  const std::string line = R"({"type":"window-size","content":)" + json(frames.content) +
                           R"(,"frame":)" + json(frames.frame) + "}\n";
  platform::system().streams().writeOutput(line);
  platform::system().process().exit(0);
}

}  // namespace parlen
