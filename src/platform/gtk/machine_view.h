#pragma once

#include <gtk/gtk.h>

#include <string>

#include "platform/gtk/module.h"
#include "platform/gtk/references.h"
#include "platform/window_system.h"

namespace parlen::gtk {

/// A widget that shows a machine's display and takes its keys. It has no subviews.
class GtkMachineView : public platform::MachineView {
 public:
  platform::Window* window() const override { return window_; }
  bool acceptsFirstResponder() const override { return gtk_widget_get_can_focus(widget()); }
  std::vector<std::shared_ptr<platform::View>> subviews() const override { return {}; }

  GtkWidget* widget() const { return widget_.get(); }
  /// By the window that takes it in or lets it go.
  void setWindow(platform::Window* window) { window_ = window; }

 protected:
  explicit GtkMachineView(GtkWidget* widget);

 private:
  Reference<GtkWidget> widget_;
  platform::Window* window_ = nullptr;
};

/// The view of `machine`: its display, or the test picture if it has none.
std::shared_ptr<GtkMachineView> makeView(const ConnectDisplay& connectDisplay,
                                         platform::VirtualMachine& machine,
                                         const platform::MachineViewOptions& options);

}  // namespace parlen::gtk
