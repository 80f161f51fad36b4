#include "platform/gtk/guest_window.h"

#include <gdk/gdkx.h>

#include <string_view>
#include <utility>

#include "platform/gtk/bar.h"
#include "platform/gtk/header.h"
#include "platform/gtk/proportions.h"
#include "platform/gtk/screen_space.h"
#include "platform/gtk/screens.h"

namespace parlen::gtk {
namespace {

using platform::Rect;

int naturalHeight(GtkWidget* widget) {
  int least = 0;
  int natural = 0;
  gtk_widget_get_preferred_height(widget, &least, &natural);
  return natural;
}

/// Something that the window manager takes for the time of the user's last action, so that it lets
/// the window come up.
guint32 currentTime(GtkWidget* window) {
  GdkWindow* surface = gtk_widget_get_window(window);
  if (surface == nullptr || !GDK_IS_X11_WINDOW(surface)) return GDK_CURRENT_TIME;
  return gdk_x11_get_server_time(surface);
}

}  // namespace

GuestWindow::GuestWindow(std::int64_t number, const platform::WindowOptions& options,
                         const Labels& labels, std::shared_ptr<DesktopState> desktop)
    : number_(number),
      labels_(labels),
      desktop_(std::move(desktop)),
      window_(GTK_WIDGET(g_object_ref(gtk_window_new(GTK_WINDOW_TOPLEVEL)))),
      header_(makeHeader(options.styleMask)),
      column_(gtk_box_new(GTK_ORIENTATION_VERTICAL, 0)) {
  gtk_window_set_titlebar(window(), header_);
  gtk_window_set_resizable(window(), (options.styleMask & platform::windowResizable) != 0);
  gtk_container_add(GTK_CONTAINER(window_.get()), column_);
  gtk_widget_show(column_);
  g_signal_connect(window_.get(), "delete-event", G_CALLBACK(closed), this);
  g_signal_connect(window_.get(), "window-state-event", G_CALLBACK(stateChanged), this);
  g_signal_connect(window_.get(), "map-event", G_CALLBACK(mapped), this);
  g_signal_connect_after(window_.get(), "size-allocate", G_CALLBACK(allocated), this);
  g_signal_connect(window_.get(), "focus-in-event", G_CALLBACK(focused), this);
  frame_ = withTop(options.contentRect, chrome());
}

GuestWindow::~GuestWindow() {
  if (desktop_->keyWindow == this) desktop_->keyWindow = nullptr;
  if (view_) view_->setWindow(nullptr);
  g_signal_handlers_disconnect_by_data(window_.get(), this);
  if (!desktop_->lost) gtk_widget_destroy(window_.get());
}

void GuestWindow::setTitle(const std::string& title) {
  gtk_window_set_title(window(), shownText(title).c_str());
}

void GuestWindow::setContentView(const std::shared_ptr<platform::MachineView>& view) {
  if (view_) {
    gtk_container_remove(GTK_CONTAINER(column_), view_->widget());
    view_->setWindow(nullptr);
  }
  view_ = std::static_pointer_cast<MachineView>(view);  // there are no others
  if (!view_) return;
  view_->setWindow(this);
  gtk_box_pack_end(GTK_BOX(column_), view_->widget(), TRUE, TRUE, 0);
}

void GuestWindow::setInitialFirstResponder(const std::shared_ptr<platform::MachineView>& view) {
  makeFirstResponder(view);
}

/// The window grows upward by the bar's height; its content stays as it is.
void GuestWindow::addTitlebarAccessory(const platform::TitlebarAccessory& accessory) {
  const Rect content = contentRectForFrameRect(frame_);
  bar_ = makeBar(accessory.bar, labels_);
  gtk_box_pack_start(GTK_BOX(column_), bar_, FALSE, FALSE, 0);
  frame_ = withTop(content, chrome());
}

bool GuestWindow::isVisible() const { return gtk_widget_get_visible(window_.get()) && !iconified_; }

std::optional<Rect> GuestWindow::screenVisibleFrame() const {
  GdkWindow* surface = gtk_widget_get_window(window_.get());
  if (!isVisible() || surface == nullptr) return std::nullopt;
  return visibleFrameAt(surface);
}

int GuestWindow::barHeight() const { return bar_ != nullptr ? naturalHeight(bar_) : 0; }

double GuestWindow::chrome() const { return naturalHeight(header_) + barHeight(); }

/// Where the view really is, once it is somewhere.
std::optional<Rect> GuestWindow::contentOnScreen() const {
  if (desktop_->lost || !isVisible() || !view_ || !gtk_widget_get_mapped(view_->widget()))
    return std::nullopt;
  int x = 0;
  int y = 0;
  GdkWindow* surface = gtk_widget_get_window(window_.get());
  gtk_widget_translate_coordinates(view_->widget(), window_.get(), 0, 0, &x, &y);
  gdk_window_get_root_coords(surface, x, y, &x, &y);
  return fromScreen({.x = x,
                     .y = y,
                     .width = gtk_widget_get_allocated_width(view_->widget()),
                     .height = gtk_widget_get_allocated_height(view_->widget())},
                    mainScreen());
}

Rect GuestWindow::frame() const {
  const auto content = contentOnScreen();
  return content ? withTop(*content, chrome()) : frame_;
}

Rect GuestWindow::contentRectForFrameRect(const Rect& frame) const {
  return withoutTop(frame, chrome());
}

void GuestWindow::setFrame(const Rect& frame, platform::Redraw redraw) {
  frame_ = frame;
  applyFrame();
  if (redraw == platform::Redraw::atOnce) gtk_widget_queue_draw(window_.get());
}

void GuestWindow::setContentSize(const platform::Size& size) {
  frame_ = withTop({frame_.x, frame_.y, size.width, size.height}, chrome());
  applyFrame();
}

/// The toolkit counts neither the title bar nor the borders as the window's size, if it knows them
/// already: a window that is not realized has none yet.
void GuestWindow::applyFrame() {
  if (desktop_->lost) return;
  gtk_widget_realize(window_.get());
  gtk_window_unmaximize(window());  // else it keeps its size
  const ScreenRect outer = toScreen(frame_, mainScreen());
  gtk_window_resize(window(), std::max(outer.width, 1),
                    std::max(outer.height - naturalHeight(header_), 1));
  gtk_window_move(window(), outer.x, outer.y);
}

void GuestWindow::setContentAspectRatio(const platform::Size& ratio) {
  ratio_ = ratio;
  gtk_widget_queue_resize(window_.get());  // with the next layout
}

void GuestWindow::makeKeyAndOrderFront() {
  if (desktop_->lost) return;
  if (!gtk_widget_get_visible(window_.get())) applyFrame();  // hiding has forgotten the place
  gtk_window_deiconify(window());
  iconified_ = false;
  gtk_widget_show(window_.get());
  gtk_window_present_with_time(window(), currentTime(window_.get()));
  desktop_->keyWindow = this;
}

void GuestWindow::orderOut() {
  if (desktop_->lost) return;
  if (desktop_->keyWindow == this) desktop_->keyWindow = nullptr;
  frame_ = frame();
  gtk_widget_hide(window_.get());
}

MachineView* GuestWindow::responder() const {
  const bool isView = view_ && gtk_window_get_focus(window()) == view_->widget();
  return isView ? view_.get() : nullptr;
}

bool GuestWindow::firstResponderIsMachineView() const { return responder() != nullptr; }

bool GuestWindow::isFirstResponder(const platform::View& view) const {
  return responder() == &view;
}

void GuestWindow::makeFirstResponder(const std::shared_ptr<platform::View>& view) {
  // There are no views but machine views.
  gtk_window_set_focus(window(), view ? static_cast<MachineView&>(*view).widget() : nullptr);
}

std::string GuestWindow::firstResponderDescription() const {
  GtkWidget* widget = gtk_window_get_focus(window());
  return widget != nullptr ? G_OBJECT_TYPE_NAME(widget) : "none";
}

/// Without a delegate closing is only leaving the screen: the window is its owner's.
gboolean GuestWindow::closed(GtkWidget*, GdkEvent*, gpointer self) {
  auto* window = static_cast<GuestWindow*>(self);
  if (window->delegate_ == nullptr || window->delegate_->windowShouldClose()) window->orderOut();
  return GDK_EVENT_STOP;
}

gboolean GuestWindow::stateChanged(GtkWidget*, GdkEventWindowState* event, gpointer self) {
  static_cast<GuestWindow*>(self)->iconified_ =
      (event->new_window_state & GDK_WINDOW_STATE_ICONIFIED) != 0;
  return GDK_EVENT_PROPAGATE;
}

/// Where no window manager hands out the keyboard, a new window has to take it.
gboolean GuestWindow::mapped(GtkWidget* widget, GdkEvent*, gpointer) {
  gdk_window_focus(gtk_widget_get_window(widget), currentTime(widget));
  return GDK_EVENT_PROPAGATE;
}

void GuestWindow::allocated(GtkWidget* widget, GdkRectangle*, gpointer self) {
  const auto* window = static_cast<GuestWindow*>(self);
  if (window->desktop_->lost || !window->view_ || window->ratio_ == platform::Size{}) return;
  keepProportions(widget, window->view_->widget(), window->ratio_);
}

gboolean GuestWindow::focused(GtkWidget*, GdkEvent*, gpointer self) {
  auto* window = static_cast<GuestWindow*>(self);
  window->desktop_->keyWindow = window;
  return GDK_EVENT_PROPAGATE;
}

}  // namespace parlen::gtk
