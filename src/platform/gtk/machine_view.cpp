#include "platform/gtk/machine_view.h"

#include <utility>

#include "platform/gtk/display_view.h"
#include "platform/gtk/test_picture_view.h"

namespace parlen::gtk {

GtkMachineView::GtkMachineView(GtkWidget* widget) : widget_(widget) {
  gtk_widget_set_can_focus(widget, TRUE);
  gtk_widget_set_hexpand(widget, TRUE);
  gtk_widget_set_vexpand(widget, TRUE);
  gtk_widget_show(widget);
}

std::shared_ptr<GtkMachineView> makeView(const ConnectDisplay& connectDisplay,
                                         platform::VirtualMachine& machine,
                                         const platform::MachineViewOptions& options) {
  auto connect = [connectDisplay, &machine] { return connectDisplay(machine); };
  std::optional<linux::Descriptor> socket = connect();
  if (!socket) return std::make_shared<TestPictureView>();
  return std::make_shared<DisplayView>(std::move(connect), *std::move(socket), options);
}

}  // namespace parlen::gtk
