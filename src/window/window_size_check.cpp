#include "window/window_size_check.h"

#include "events/error_code.h"
#include "events/event_stream.h"
#include "platform/platform.h"
#include "window/geometry.h"
#include "window/window_size_request.h"

namespace parlen {

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
  emitWindowSize(frames.content, frames.frame);
  platform::system().process().exit(0);
}

}  // namespace parlen
