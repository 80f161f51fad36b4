#pragma once

#include <vncdisplay.h>

#include <functional>

#include "platform/gtk/machine_view.h"

namespace parlen::gtk {

/// A guest's display over a socket. A connection that breaks is made anew.
class DisplayView final : public GtkMachineView {
 public:
  using Connect = std::function<std::optional<linux::Descriptor>()>;

  DisplayView(Connect connect, linux::Descriptor socket,
              const platform::MachineViewOptions& options);
  ~DisplayView() override;

 private:
  static void disconnected(VncDisplay* display, gpointer self);
  static gboolean reconnect(gpointer self);
  void open(linux::Descriptor socket);

  Connect connect_;
  guint retry_ = 0;  // the timer that will connect again
};

}  // namespace parlen::gtk
