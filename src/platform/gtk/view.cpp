#include "platform/gtk/view.h"

#include <vncdisplay.h>

#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "platform/gtk/picture.h"
#include "platform/posix/descriptor.h"

namespace parlen::gtk {
namespace {

/// A guest's display over a socket. A connection that breaks is made again.
class DisplayView final : public MachineView {
 public:
  using Connect = std::function<std::optional<posix::Descriptor>()>;

  DisplayView(Connection& connection, Connect connect, posix::Descriptor socket,
              const platform::MachineViewOptions& options)
      : connection_(connection), connect_(std::move(connect)), socket_(std::move(socket)) {
    connection_.use([&] { build(options); });
  }

  ~DisplayView() override {
    connection_.use([this] {
      if (retryTimer_ != 0) g_source_remove(retryTimer_);
      g_signal_handlers_disconnect_by_data(widget(), this);
      vnc_display_close(display());
    });
  }

 private:
  VncDisplay* display() const { return VNC_DISPLAY(widget()); }

  void build(const platform::MachineViewOptions& options) {
    setWidget(vnc_display_new());
    vnc_display_set_shared_flag(display(), TRUE);  // other viewers stay connected
    vnc_display_set_scaling(display(), !options.automaticallyReconfiguresDisplay);
    vnc_display_set_allow_resize(display(), options.automaticallyReconfiguresDisplay);
    vnc_display_set_keep_aspect_ratio(display(), TRUE);
    vnc_display_set_force_size(display(), FALSE);  // the window decides how large it is
    vnc_display_set_smoothing(display(), TRUE);
    vnc_display_set_keyboard_grab(display(), options.capturesSystemKeys);
    vnc_display_set_pointer_grab(display(), FALSE);
    removeGrabKeys();
    g_signal_connect(display(), "vnc-disconnected", G_CALLBACK(onDisconnected), this);
    open();
  }

  /// By default the widget releases keyboard and pointer on Ctrl+Alt, which a parent may type into
  /// the guest. Nothing needs that: the keyboard is released when the pointer leaves the widget,
  /// and the pointer is never grabbed.
  void removeGrabKeys() {
    VncGrabSequence* none = vnc_grab_sequence_new(0, nullptr);
    vnc_display_set_grab_keys(display(), none);
    vnc_grab_sequence_free(none);
  }

  void open() {
    if (socket_) vnc_display_open_fd(display(), socket_.release());
  }

  /// The guest may have ended, or only its display: `connect_` tells at the next try.
  static void onDisconnected(VncDisplay*, gpointer self) {
    constexpr guint retryDelay = 1000;  // ms
    auto* view = static_cast<DisplayView*>(self);
    if (view->retryTimer_ == 0) {
      view->retryTimer_ = g_timeout_add(retryDelay, onRetryTimer, view);
    }
  }

  static gboolean onRetryTimer(gpointer self) {
    auto* view = static_cast<DisplayView*>(self);
    view->retryTimer_ = 0;
    view->connection_.callOut([view] {
      if (auto socket = view->connect_()) view->socket_ = *std::move(socket);
    });
    view->open();
    return G_SOURCE_REMOVE;
  }

  Connection& connection_;
  Connect connect_;
  posix::Descriptor socket_;  // to be opened
  guint retryTimer_ = 0;      // GLib source that will connect again; 0: none
};

/// The view of a machine without a display. Its text names the last key that it was given.
class TestPictureView final : public MachineView {
 public:
  explicit TestPictureView(Connection& connection) : connection_(connection) {
    connection_.use([this] { build(); });
  }

  ~TestPictureView() override {
    connection_.use([this] { g_signal_handlers_disconnect_by_data(widget(), this); });
  }

 private:
  void build() {
    setWidget(gtk_drawing_area_new());
    gtk_widget_add_events(widget(),
                          GDK_KEY_PRESS_MASK | GDK_KEY_RELEASE_MASK | GDK_BUTTON_PRESS_MASK);
    g_signal_connect(widget(), "draw", G_CALLBACK(onDraw), this);
    g_signal_connect(widget(), "key-press-event", G_CALLBACK(onKey), this);
    g_signal_connect(widget(), "key-release-event", G_CALLBACK(onKey), this);
    g_signal_connect(widget(), "button-press-event", G_CALLBACK(onButtonPress), this);
  }

  static gboolean onDraw(GtkWidget* widget, cairo_t* canvas, gpointer self) {
    drawTestPicture(canvas, gtk_widget_get_allocated_width(widget),
                    gtk_widget_get_allocated_height(widget),
                    static_cast<TestPictureView*>(self)->text_);
    return GDK_EVENT_STOP;
  }

  /// Stops every key event, as a guest's display does, so that the window does not act on it.
  static gboolean onKey(GtkWidget* widget, GdkEventKey* event, gpointer self) {
    const bool pressed = event->type == GDK_KEY_PRESS;
    static_cast<TestPictureView*>(self)->text_ =
        "key " + std::to_string(event->hardware_keycode) + (pressed ? " down" : " up");
    gtk_widget_queue_draw(widget);
    return GDK_EVENT_STOP;
  }

  static gboolean onButtonPress(GtkWidget* widget, GdkEventButton*, gpointer) {
    gtk_widget_grab_focus(widget);
    return GDK_EVENT_STOP;
  }

  Connection& connection_;
  std::string text_ = "1920 x 1200";
};

}  // namespace

void MachineView::setWidget(GtkWidget* widget) {
  widget_ = Reference(widget);
  gtk_widget_set_can_focus(widget, TRUE);
  gtk_widget_set_hexpand(widget, TRUE);
  gtk_widget_set_vexpand(widget, TRUE);
  gtk_widget_show(widget);
}

std::shared_ptr<MachineView> makeView(Connection& connection, const ConnectDisplay& connectDisplay,
                                      platform::VirtualMachine& machine,
                                      const platform::MachineViewOptions& options) {
  auto connect = [connectDisplay, &machine] { return connectDisplay(machine); };
  std::optional<posix::Descriptor> socket = connect();
  if (!socket) return std::make_shared<TestPictureView>(connection);
  return std::make_shared<DisplayView>(connection, std::move(connect), *std::move(socket), options);
}

}  // namespace parlen::gtk
