#pragma once

#include "platform/gtk/machine_view.h"

namespace parlen::gtk {

/// Stands for the display of a machine that has none, and says which key it was given last.
class TestPictureView final : public GtkMachineView {
 public:
  TestPictureView();
  ~TestPictureView() override;

 private:
  static gboolean draw(GtkWidget* widget, cairo_t* canvas, gpointer self);
  static gboolean key(GtkWidget* widget, GdkEventKey* event, gpointer self);
  static gboolean press(GtkWidget* widget, GdkEventButton* event, gpointer self);

  std::string text_ = "1920 x 1200";
};

}  // namespace parlen::gtk
