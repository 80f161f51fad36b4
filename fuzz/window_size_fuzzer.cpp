#include <algorithm>
#include <array>
#include <optional>
#include <string>

#include "fuzz.h"
#include "window/geometry.h"
#include "window/window_size_check.h"

namespace parlen {
namespace {

using fuzz::require;

/// The next line of the input is the next option's text; nullopt at the end: the option is missing.
std::optional<std::string> takeLine(std::string_view& rest) {
  if (rest.empty()) return std::nullopt;
  const std::string line(rest.substr(0, rest.find('\n')));
  rest.remove_prefix(std::min(rest.size(), line.size() + 1));
  return line;
}

bool same(double left, double right) { return left == right || (left != left && right != right); }

void checkPlace(const WindowSizeRequest& request) {
  require(request.guestScale > 0);
  const GuestFrames frames = guestWindowFrame(request.guestPixels, request.guestScale,
                                              request.visibleFrame, request.chrome);
  require(same(frames.content.x, frames.frame.x) && same(frames.content.y, frames.frame.y));
  require(same(frames.content.width, frames.frame.width));
  require(same(frames.content.height + request.chrome, frames.frame.height));
}

}  // namespace
}  // namespace parlen

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view rest = parlen::fuzz::asText(data, size);
  const auto visible = parlen::takeLine(rest);
  const auto guest = parlen::takeLine(rest);
  const auto scale = parlen::takeLine(rest);
  const auto chrome = parlen::takeLine(rest);
  const auto request = parlen::parseWindowSizeRequest(guest, scale, visible, chrome);
  if (request) parlen::checkPlace(*request);
  return 0;
}
