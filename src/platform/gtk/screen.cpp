#include "platform/gtk/screen.h"

namespace parlen::gtk {
namespace {

ScreenRect toRect(const GdkRectangle& rectangle) {
  return {rectangle.x, rectangle.y, rectangle.width, rectangle.height};
}

GdkMonitor* mainMonitor() {
  GdkDisplay* display = gdk_display_get_default();
  GdkMonitor* primary = gdk_display_get_primary_monitor(display);
  return primary != nullptr ? primary : gdk_display_get_monitor(display, 0);
}

std::optional<platform::Rect> visibleFrame(GdkMonitor* monitor) {
  if (monitor == nullptr) return std::nullopt;
  GdkRectangle area;
  gdk_monitor_get_workarea(monitor, &area);
  return fromScreen(toRect(area), mainScreen());
}

}  // namespace

ScreenRect mainScreen() {
  GdkMonitor* monitor = mainMonitor();
  if (monitor == nullptr) return {};
  GdkRectangle geometry;
  gdk_monitor_get_geometry(monitor, &geometry);
  return toRect(geometry);
}

std::optional<platform::Rect> mainVisibleFrame() { return visibleFrame(mainMonitor()); }

std::optional<platform::Rect> visibleFrameAt(GdkWindow* window) {
  return visibleFrame(gdk_display_get_monitor_at_window(gdk_window_get_display(window), window));
}

}  // namespace parlen::gtk
