#include "platform/gtk/display_view.h"

#include <utility>

namespace parlen::gtk {
namespace {

VncDisplay* displayOf(GtkWidget* widget) { return VNC_DISPLAY(widget); }

/// The widget has keys of its own that let go of keyboard and pointer. They could be among those
/// that are typed into the guest, and nothing needs them: the keyboard is given back as soon as the
/// pointer leaves, and the pointer is never kept.
void takeNoKeysForItself(VncDisplay* display) {
  VncGrabSequence* none = vnc_grab_sequence_new(0, nullptr);
  vnc_display_set_grab_keys(display, none);
  vnc_grab_sequence_free(none);
}

}  // namespace

DisplayView::DisplayView(Connect connect, linux::Descriptor socket,
                         const platform::MachineViewOptions& options)
    : GtkMachineView(vnc_display_new()), connect_(std::move(connect)) {
  VncDisplay* display = displayOf(widget());
  vnc_display_set_shared_flag(display, TRUE);  // no viewer throws another one out
  vnc_display_set_scaling(display, !options.automaticallyReconfiguresDisplay);
  vnc_display_set_allow_resize(display, options.automaticallyReconfiguresDisplay);
  vnc_display_set_keep_aspect_ratio(display, TRUE);
  vnc_display_set_force_size(display, FALSE);  // the window decides how large it is
  vnc_display_set_smoothing(display, TRUE);
  vnc_display_set_keyboard_grab(display, options.capturesSystemKeys);
  vnc_display_set_pointer_grab(display, FALSE);
  takeNoKeysForItself(display);
  g_signal_connect(display, "vnc-disconnected", G_CALLBACK(disconnected), this);
  open(std::move(socket));
}

DisplayView::~DisplayView() {
  if (retry_ != 0) g_source_remove(retry_);
  g_signal_handlers_disconnect_by_data(widget(), this);
  vnc_display_close(displayOf(widget()));
}

void DisplayView::open(linux::Descriptor socket) {
  if (socket) vnc_display_open_fd(displayOf(widget()), socket.release());
}

/// The guest may have ended, or its display; the connection that is asked for tells.
void DisplayView::disconnected(VncDisplay*, gpointer self) {
  constexpr guint pause = 1000;  // ms
  auto* view = static_cast<DisplayView*>(self);
  if (view->retry_ == 0) view->retry_ = g_timeout_add(pause, reconnect, view);
}

gboolean DisplayView::reconnect(gpointer self) {
  auto* view = static_cast<DisplayView*>(self);
  view->retry_ = 0;
  if (auto socket = view->connect_()) view->open(*std::move(socket));
  return G_SOURCE_REMOVE;
}

}  // namespace parlen::gtk
