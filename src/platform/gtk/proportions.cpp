#include "platform/gtk/proportions.h"

#include <X11/Xutil.h>
#include <gdk/gdkx.h>

namespace parlen::gtk {

/// Past the toolkit, whose own constraint would be on the whole window. Where nobody heeds this,
/// the content leaves room around its picture.
void keepProportions(GtkWidget* window, GtkWidget* content, const platform::Size& ratio) {
  GdkWindow* surface = gtk_widget_get_window(window);
  if (surface == nullptr || !GDK_IS_X11_WINDOW(surface)) return;
  Display* display = GDK_WINDOW_XDISPLAY(surface);
  const Window id = GDK_WINDOW_XID(surface);
  const int scale = gdk_window_get_scale_factor(surface);  // the hints count pixels
  XSizeHints hints{};
  long given = 0;
  XGetWMNormalHints(display, id, &hints, &given);
  hints.flags |= PAspect | PBaseSize;
  hints.base_width =
      scale * (gtk_widget_get_allocated_width(window) - gtk_widget_get_allocated_width(content));
  hints.base_height =
      scale * (gtk_widget_get_allocated_height(window) - gtk_widget_get_allocated_height(content));
  hints.min_aspect = {.x = static_cast<int>(ratio.width), .y = static_cast<int>(ratio.height)};
  hints.max_aspect = hints.min_aspect;
  XSetWMNormalHints(display, id, &hints);
}

}  // namespace parlen::gtk
