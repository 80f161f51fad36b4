#include "platform/gtk/header.h"

#include <string>
#include <string_view>

#include "platform/window_system.h"

namespace parlen::gtk {
namespace {

/// The desktop names the controls of both sides, with a colon between the sides.
bool desktopClosesOnTheLeft() {
  gchar* layout = nullptr;
  g_object_get(gtk_settings_get_default(), "gtk-decoration-layout", &layout, nullptr);
  const std::string_view names = layout != nullptr ? layout : "";
  const bool left = names.substr(0, names.find(':')).find("close") != std::string_view::npos;
  g_free(layout);
  return left;
}

std::string layoutFor(std::uint64_t styleMask) {
  std::string controls;
  const bool left = desktopClosesOnTheLeft();
  const auto add = [&](std::uint64_t bit, std::string_view name) {
    if ((styleMask & bit) == 0) return;
    if (!controls.empty()) controls.append(",");
    controls.append(name);
  };
  if (left) add(platform::windowClosable, "close");
  add(platform::windowMiniaturizable, "minimize");
  add(platform::windowResizable, "maximize");
  if (!left) add(platform::windowClosable, "close");
  return left ? controls + ":" : ":" + controls;
}

}  // namespace

GtkWidget* makeHeader(std::uint64_t styleMask) {
  GtkWidget* header = gtk_header_bar_new();
  gtk_header_bar_set_show_close_button(GTK_HEADER_BAR(header), TRUE);
  gtk_header_bar_set_has_subtitle(GTK_HEADER_BAR(header), FALSE);
  gtk_header_bar_set_decoration_layout(GTK_HEADER_BAR(header), layoutFor(styleMask).c_str());
  gtk_widget_show(header);
  return header;
}

}  // namespace parlen::gtk
