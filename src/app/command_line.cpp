#include "app/command_line.h"

#include <algorithm>
#include <charconv>
#include <iterator>

#include "events/error_code.h"
#include "events/event_stream.h"

namespace parlen {

// Set by start-up; see the declaration.
constinit std::vector<std::string> arguments;

constexpr std::string_view usage =
    "usage: parlen-mac-vm <create|run|clone|status> [options]\n"
    "  create --ipsw <path> --bundle <dir> --disk-gb <n>\n"
    "  run    --bundle <dir> [--gui] [--share <dir>] [--logs-share <dir>]\n"
    "  clone  --from <dir> --to <dir> [--regenerate-machine-id]\n"
    "  status --bundle <dir>\n"
    "  window-size-check --visible x,y,w,h [--guest WxH] [--scale n] [--chrome pt]  (test hook)";

static_assert(usage.size() == 351);

namespace {

auto find(std::string_view name) {
  return std::find(arguments.begin(), arguments.end(), "--" + std::string(name));
}

}  // namespace

std::optional<std::string> flag(std::string_view name) {
  const auto option = find(name);
  if (option == arguments.end() || std::next(option) == arguments.end()) return std::nullopt;
  return *std::next(option);
}

bool has(std::string_view name) { return find(name) != arguments.end(); }

std::string required(std::string_view name) {
  if (auto value = flag(name)) return *std::move(value);
  die(errorCode::badUsage, "missing --" + std::string(name) + "\n" + std::string(usage));
}

std::optional<std::int64_t> parseInteger(std::string_view text) {
  // from_chars takes no plus sign, and behind one it would take a minus.
  if (text.starts_with('+')) {
    text.remove_prefix(1);
    if (text.starts_with('-')) return std::nullopt;
  }
  std::int64_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

}  // namespace parlen
