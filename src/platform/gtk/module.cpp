#include "platform/gtk/module.h"

#include <gio/gio.h>
#include <gtk/gtk.h>
#include <signal.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

#include "platform/gtk/connection.h"
#include "platform/gtk/desktop.h"
#include "platform/gtk/display_probe.h"

namespace parlen::gtk {
namespace {

void warnByLine(const platform::WarningSink& warn, std::string_view text) {
  while (!text.empty()) {
    const std::string_view line = text.substr(0, text.find('\n'));
    if (!line.empty()) warn(line);
    text.remove_prefix(std::min(line.size() + 1, text.size()));
  }
}

/// The value of a log field, or empty. GLib's length of a NUL-terminated value is -1.
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

/// Sends what the libraries log to `warn`, a line at a time, if it is a warning or worse. Only the
/// first call counts, because GLib takes a writer once; any thread may log until the process ends,
/// so the copy of `warn` is never freed.
void redirectLog(const platform::WarningSink& warn) {
  static const platform::WarningSink* const sink = [&warn] {
    auto* kept = new platform::WarningSink(warn);
    g_log_set_writer_func(writeLog, kept, nullptr);
    return kept;
  }();
  static_cast<void>(sink);
}

/// Keeps SIGPIPE's action while a desktop is opened: the program must end with that signal when
/// nobody reads its events. GTK sets it to be ignored in the whole process when it is initialized,
/// and GLib when it first uses its socket class, which is therefore initialized here.
class BrokenPipeSignalKept {
 public:
  BrokenPipeSignalKept() {
    sigaction(SIGPIPE, nullptr, &before_);
    g_type_class_ref(G_TYPE_SOCKET);  // never given back: the class is not initialized again
  }
  ~BrokenPipeSignalKept() { sigaction(SIGPIPE, &before_, nullptr); }
  BrokenPipeSignalKept(const BrokenPipeSignalKept&) = delete;
  BrokenPipeSignalKept& operator=(const BrokenPipeSignalKept&) = delete;

 private:
  struct sigaction before_{};
};

std::string displayName() {
  const char* name = std::getenv("DISPLAY");
  if (name == nullptr) name = std::getenv("WAYLAND_DISPLAY");
  return name != nullptr ? name : "";
}

/// Whether the display server can be asked without waiting for ever. An attempt that it has left
/// without an answer is not made anew: the next call only looks whether there is one by now.
bool displayAnswers() {
  constexpr std::chrono::seconds timeout{10};
  static std::optional<DisplayProbe> unanswered;
  if (unanswered) {
    if (!unanswered->hasResult(std::chrono::seconds(0))) return false;
    unanswered.reset();
  }
  const DisplayProbe probe;
  if (probe.hasResult(timeout)) return true;
  unanswered = probe;
  return false;
}

/// The windows use no OpenGL. GDK would ask for it all the same, and Mesa crashes when the
/// connection breaks meanwhile. Source: GTK 3 reference, "Running and debugging GTK+ applications".
void initialize(bool& initialized) {
  g_setenv("GDK_GL", "disable", FALSE);
  gtk_disable_setlocale();  // the program's numbers and messages are those of the C locale
  // X first, because only X lets a program place its windows; Wayland desktops have it as well.
  gdk_set_allowed_backends("x11,wayland");
  g_set_prgname("parlen-mac-vm");
  initialized = gtk_init_check(nullptr, nullptr) != FALSE;
}

platform::Result<std::unique_ptr<WindowSystem>> openDesktop(const ModuleContext& context) {
  static Connection connection;
  redirectLog(context.warn);
  const BrokenPipeSignalKept brokenPipe;
  if (!displayAnswers()) return error("the display '" + displayName() + "' does not answer");
  bool initialized = false;
  connection.use([&] { initialize(initialized); });
  if (!initialized) return error("cannot open the display '" + displayName() + "'");
  return std::make_unique<Desktop>(context, connection);
}

}  // namespace
}  // namespace parlen::gtk

#define PARLEN_EXPORT extern "C" __attribute__((visibility("default")))

PARLEN_EXPORT const char* parlenWindowModuleBuildName() { return parlen::gtk::buildName; }

PARLEN_EXPORT void parlenWindowModuleOpenDesktop(
    const parlen::gtk::ModuleContext& context,
    parlen::platform::Result<std::unique_ptr<parlen::gtk::WindowSystem>>& result) {
  result = parlen::gtk::openDesktop(context);
}
