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

/// Spaces within a line: the tab and the characters of Unicode's category Zs, in UTF-8.
constexpr std::array<std::string_view, 18> spaces = {
    "\t",     " ",      "\u00A0", "\u1680", "\u2000", "\u2001", "\u2002", "\u2003", "\u2004",
    "\u2005", "\u2006", "\u2007", "\u2008", "\u2009", "\u200A", "\u202F", "\u205F", "\u3000"};

/// The length in bytes of the space that `matches`; 0 if there is none.
template <class Matches>
std::size_t spaceLength(Matches matches) {
  const auto found = std::ranges::find_if(spaces, matches);
  return found == spaces.end() ? 0 : found->size();
}

std::string_view trimmed(std::string_view text) {
  const auto leads = [&text](std::string_view space) { return text.starts_with(space); };
  const auto trails = [&text](std::string_view space) { return text.ends_with(space); };
  while (const auto length = spaceLength(leads)) text.remove_prefix(length);
  while (const auto length = spaceLength(trails)) text.remove_suffix(length);
  return text;
}

/// Reads the whole of `text` with strtod; nullopt if it is no number or starts with white space,
/// which strtod would skip. The process stays in the C locale, so the decimal separator is a point.
std::optional<double> number(std::string_view text) {
  constexpr std::string_view skipped = " \t\n\v\f\r";
  if (text.empty() || skipped.contains(text.front())) return std::nullopt;
  const std::string terminated(text);
  char* end = nullptr;
  const double value = std::strtod(terminated.c_str(), &end);
  if (end != terminated.c_str() + terminated.size()) return std::nullopt;
  return value;
}

/// The numbers among the pieces of `text`, in order; `prepare` is applied to each piece before it
/// is read. Pieces that are no number are skipped.
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

std::string_view unchanged(std::string_view piece) { return piece; }

std::string displaySize() {
  return std::to_string(vmDisplayWidth) + "x" + std::to_string(vmDisplayHeight);
}

}  // namespace

std::optional<WindowSizeRequest> parseWindowSizeRequest(const std::optional<std::string>& guest,
                                                        const std::optional<std::string>& scale,
                                                        const std::optional<std::string>& visible,
                                                        const std::optional<std::string>& chrome) {
  const auto size = numbers(guest ? *guest : displaySize(), 'x', unchanged);
  const auto area = numbers(visible.value_or(""), ',', trimmed);
  const auto pixelsPerPoint = number(scale ? *scale : "1");
  const auto chromeHeight = number(chrome ? *chrome : "0");
  if (size.size() != 2 || area.size() != 4) return std::nullopt;
  // Not `<= 0`: that would accept a scale that is not a number.
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
  exitAfterReport(emitWindowSize(frames.content, frames.frame));
}

}  // namespace parlen
