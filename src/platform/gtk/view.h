#pragma once

#include <gtk/gtk.h>

#include <memory>
#include <vector>

#include "platform/gtk/module.h"
#include "platform/gtk/reference.h"
#include "platform/window_system.h"

namespace parlen::gtk {

/// A widget that shows a machine's display and takes its keys. It has no subviews.
class MachineView : public platform::MachineView {
 public:
  platform::Window* window() const override { return window_; }
  bool acceptsFirstResponder() const override { return gtk_widget_get_can_focus(widget()); }
  std::vector<std::shared_ptr<platform::View>> subviews() const override { return {}; }

  GtkWidget* widget() const { return widget_.get(); }
  /// Called by the window that takes the view in or removes it (null). Not owned.
  void setWindow(platform::Window* window) { window_ = window; }

 protected:
  explicit MachineView(GtkWidget* widget);

 private:
  Reference<GtkWidget> widget_;
  platform::Window* window_ = nullptr;
};

/// The view of `machine`: its display, or a test picture if `connectDisplay` says that it has none.
/// `machine` must outlive the view.
std::shared_ptr<MachineView> makeView(const ConnectDisplay& connectDisplay,
                                      platform::VirtualMachine& machine,
                                      const platform::MachineViewOptions& options);

}  // namespace parlen::gtk
