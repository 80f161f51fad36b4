#include "platform/gtk/messages.h"

#include <glib.h>

#include <algorithm>
#include <string>
#include <string_view>

namespace parlen::gtk {
namespace {

void warnByLine(const platform::WarningSink& warn, std::string_view text) {
  while (!text.empty()) {
    const std::string_view line = text.substr(0, text.find('\n'));
    if (!line.empty()) warn(line);
    text.remove_prefix(std::min(line.size() + 1, text.size()));
  }
}

std::string_view fieldOf(const GLogField* fields, gsize count, std::string_view key) {
  for (gsize i = 0; i < count; ++i) {
    if (fields[i].key != key) continue;
    const auto* value = static_cast<const char*>(fields[i].value);
    if (fields[i].length < 0) return value;
    return {value, static_cast<std::size_t>(fields[i].length)};
  }
  return {};
}

GLogWriterOutput writeLog(GLogLevelFlags level, const GLogField* fields, gsize count,
                          gpointer sink) {
  constexpr int shown = G_LOG_LEVEL_ERROR | G_LOG_LEVEL_CRITICAL | G_LOG_LEVEL_WARNING;
  if ((level & shown) != 0) {
    std::string text(fieldOf(fields, count, "GLIB_DOMAIN"));
    if (!text.empty()) text.append(": ");
    text.append(fieldOf(fields, count, "MESSAGE"));
    warnByLine(*static_cast<const platform::WarningSink*>(sink), text);
  }
  return G_LOG_WRITER_HANDLED;
}

}  // namespace

void redirectMessages(const platform::WarningSink& warn) {
  // GLib takes a writer once, and for good. Any thread may log, until the process ends.
  static const platform::WarningSink* const sink = [&warn] {
    auto* kept = new platform::WarningSink(warn);
    g_log_set_writer_func(writeLog, kept, nullptr);
    return kept;
  }();
  static_cast<void>(sink);
}

}  // namespace parlen::gtk
