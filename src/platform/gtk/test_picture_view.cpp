#include "platform/gtk/test_picture_view.h"

#include "platform/gtk/picture.h"

namespace parlen::gtk {

TestPictureView::TestPictureView() : GtkMachineView(gtk_drawing_area_new()) {
  gtk_widget_add_events(widget(),
                        GDK_KEY_PRESS_MASK | GDK_KEY_RELEASE_MASK | GDK_BUTTON_PRESS_MASK);
  g_signal_connect(widget(), "draw", G_CALLBACK(draw), this);
  g_signal_connect(widget(), "key-press-event", G_CALLBACK(key), this);
  g_signal_connect(widget(), "key-release-event", G_CALLBACK(key), this);
  g_signal_connect(widget(), "button-press-event", G_CALLBACK(press), this);
}

TestPictureView::~TestPictureView() { g_signal_handlers_disconnect_by_data(widget(), this); }

gboolean TestPictureView::draw(GtkWidget* widget, cairo_t* canvas, gpointer self) {
  drawTestPicture(canvas, gtk_widget_get_allocated_width(widget),
                  gtk_widget_get_allocated_height(widget),
                  static_cast<TestPictureView*>(self)->text_);
  return GDK_EVENT_STOP;
}

/// As a guest's display does, it keeps every key from the window's own uses of it.
gboolean TestPictureView::key(GtkWidget* widget, GdkEventKey* event, gpointer self) {
  const bool pressed = event->type == GDK_KEY_PRESS;
  static_cast<TestPictureView*>(self)->text_ =
      "key " + std::to_string(event->hardware_keycode) + (pressed ? " down" : " up");
  gtk_widget_queue_draw(widget);
  return GDK_EVENT_STOP;
}

gboolean TestPictureView::press(GtkWidget* widget, GdkEventButton*, gpointer) {
  gtk_widget_grab_focus(widget);
  return GDK_EVENT_STOP;
}

}  // namespace parlen::gtk
