#include <gio/gio.h>
#include <gtk/gtk.h>
#include <signal.h>

#include <cstdlib>
#include <string>

#include "platform/gtk/gtk_desktop.h"
#include "platform/gtk/messages.h"
#include "platform/gtk/module.h"

namespace parlen::gtk {
namespace {

/// GLib makes the whole process deaf to the broken-pipe signal when it makes its first socket. It
/// does not need that here, and the program wants to end when nobody reads its events.
void keepBrokenPipeSignal() {
  struct sigaction before{};
  sigaction(SIGPIPE, nullptr, &before);
  g_type_class_unref(g_type_class_ref(G_TYPE_SOCKET));
  sigaction(SIGPIPE, &before, nullptr);
}

std::string displayName() {
  const char* name = std::getenv("DISPLAY");
  if (name == nullptr) name = std::getenv("WAYLAND_DISPLAY");
  return name != nullptr ? name : "";
}

bool initialize() {
  gtk_disable_setlocale();  // the program's numbers and messages are those of the C locale
  // A window can be put somewhere only through X, which Wayland's desktops offer too.
  gdk_set_allowed_backends("x11,wayland");
  g_set_prgname("parlen-mac-vm");
  return gtk_init_check(nullptr, nullptr) != FALSE;
}

void openDesktop(const Surroundings& surroundings,
                 platform::Result<std::unique_ptr<Desktop>>& result) {
  redirectMessages(surroundings.warn);
  if (!initialize()) {
    result = std::unexpected(
        platform::PlatformError{.domain = std::string(errorDomain),
                                .code = 1,
                                .description = "cannot open the display '" + displayName() + "'"});
    return;
  }
  keepBrokenPipeSignal();
  result = std::make_unique<GtkDesktop>(surroundings);
}

}  // namespace
}  // namespace parlen::gtk

#define PARLEN_EXPORT extern "C" __attribute__((visibility("default")))

PARLEN_EXPORT const char* parlenWindowModuleBuildName() { return parlen::gtk::buildName; }

PARLEN_EXPORT void parlenWindowModuleOpenDesktop(
    const parlen::gtk::Surroundings& surroundings,
    parlen::platform::Result<std::unique_ptr<parlen::gtk::Desktop>>& result) {
  parlen::gtk::openDesktop(surroundings, result);
}
