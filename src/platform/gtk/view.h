#pragma once

#include <gtk/gtk.h>

#include <memory>
#include <vector>

#include "platform/gtk/connection.h"
#include "platform/gtk/module.h"
#include "platform/gtk/reference.h"
#include "platform/window_system.h"

namespace parlen::gtk {

/// A widget that shows a machine's display and takes its keys. It has no subviews.
class MachineView : public platform::MachineView {
 public:
  platform::Window* window() const override { return window_; }
  bool acceptsFirstResponder() const override { return true; }
  std::vector<std::shared_ptr<platform::View>> subviews() const override { return {}; }

  /// Null only if the connection broke while the view was made.
  GtkWidget* widget() const { return widget_.get(); }
  /// Called by the window that takes the view in or removes it (null). Not owned.
  void setWindow(platform::Window* window) { window_ = window; }

 protected:
  /// Takes over a new widget.
  void setWidget(GtkWidget* widget);

 private:
  Reference<GtkWidget> widget_;
  platform::Window* window_ = nullptr;
};

/// The view of `machine`: its display, or a test picture if `connectDisplay` says that it has none.
/// `machine` must outlive the view.
std::shared_ptr<MachineView> makeView(Connection& connection, const ConnectDisplay& connectDisplay,
                                      platform::VirtualMachine& machine,
                                      const platform::MachineViewOptions& options);

}  // namespace parlen::gtk
