#include "window/window_size_check.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "events/error_code.h"
#include "events/event_stream.h"
#include "platform/machine_configuration.h"
#include "platform/platform.h"
#include "window/geometry.h"

namespace parlen {
namespace {

/// White space within a line: the tab and Unicode's space separators (category Zs), in UTF-8.
constexpr std::array<std::string_view, 18> blanks = {
    "\t",     " ",      "\u00A0", "\u1680", "\u2000", "\u2001", "\u2002", "\u2003", "\u2004",
    "\u2005", "\u2006", "\u2007", "\u2008", "\u2009", "\u200A", "\u202F", "\u205F", "\u3000"};

template <class Touches>
std::size_t blankLength(Touches touches) {
  const auto found = std::ranges::find_if(blanks, touches);
  return found == blanks.end() ? 0 : found->size();
}

std::string_view trimmed(std::string_view text) {
  const auto leads = [&text](std::string_view blank) { return text.starts_with(blank); };
  const auto trails = [&text](std::string_view blank) { return text.ends_with(blank); };
  while (const auto length = blankLength(leads)) text.remove_prefix(length);
  while (const auto length = blankLength(trails)) text.remove_suffix(length);
  return text;
}

/// The whole text as strtod reads it, but for the white space that strtod would skip. The process
/// never leaves the C locale, so the decimal point is a point.
std::optional<double> number(std::string_view text) {
  constexpr std::string_view skipped = " \t\n\v\f\r";
  if (text.empty() || skipped.contains(text.front())) return std::nullopt;
  const std::string terminated(text);
  char* end = nullptr;
  const double value = std::strtod(terminated.c_str(), &end);
  if (end != terminated.c_str() + terminated.size()) return std::nullopt;
  return value;
}

/// The numbers among the pieces of `text`, which `prepare` sees before they are read.
std::vector<double> numbers(std::string_view text, char separator,
                            std::string_view (*prepare)(std::string_view)) {
  std::vector<double> found;
  while (!text.empty()) {
    const std::string_view piece = text.substr(0, text.find(separator));
    if (const auto value = number(prepare(piece))) found.push_back(*value);
    text.remove_prefix(std::min(text.size(), piece.size() + 1));
  }
  return found;
}

std::string_view asItStands(std::string_view piece) { return piece; }

std::string displaySize() {
  return std::to_string(vmDisplayWidth) + "x" + std::to_string(vmDisplayHeight);
}

}  // namespace

std::optional<WindowSizeRequest> parseWindowSizeRequest(const std::optional<std::string>& guest,
                                                        const std::optional<std::string>& scale,
                                                        const std::optional<std::string>& visible,
                                                        const std::optional<std::string>& chrome) {
  const auto size = numbers(guest ? *guest : displaySize(), 'x', asItStands);
  const auto area = numbers(visible.value_or(""), ',', trimmed);
  const auto pixelsPerPoint = number(scale ? *scale : "1");
  const auto chromeHeight = number(chrome ? *chrome : "0");
  if (size.size() != 2 || area.size() != 4) return std::nullopt;
  // A scale that is not a number is not above 0 either.
  if (!pixelsPerPoint || !(*pixelsPerPoint > 0) || !chromeHeight) return std::nullopt;
  return WindowSizeRequest{
      {size[0], size[1]}, *pixelsPerPoint, {area[0], area[1], area[2], area[3]}, *chromeHeight};
}

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
