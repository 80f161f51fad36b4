#include "platform/gtk/window.h"

#include <X11/Xutil.h>
#include <gdk/gdkx.h>

#include <algorithm>
#include <string_view>
#include <utility>

#include "platform/gtk/screen.h"
#include "platform/gtk/screen_space.h"

namespace parlen::gtk {
namespace {

using platform::Rect;

/// The setting lists the controls of the left side, a colon, and those of the right side.
/// Source: GTK 3 reference, GtkSettings:gtk-decoration-layout.
bool desktopClosesOnTheLeft() {
  gchar* layout = nullptr;
  g_object_get(gtk_settings_get_default(), "gtk-decoration-layout", &layout, nullptr);
  const std::string_view names = layout != nullptr ? layout : "";
  const bool left = names.substr(0, names.find(':')).find("close") != std::string_view::npos;
  g_free(layout);
  return left;
}

/// The controls of a style, all on the side where this desktop has the close button.
std::string decorationLayout(std::uint64_t styleMask) {
  std::string controls;
  const bool left = desktopClosesOnTheLeft();
  const auto add = [&](std::uint64_t bit, std::string_view name) {
    if ((styleMask & bit) == 0) return;
    if (!controls.empty()) controls.append(",");
    controls.append(name);
  };
  if (left) add(platform::windowClosable, "close");
  add(platform::windowMiniaturizable, "minimize");
  add(platform::windowResizable, "maximize");
  if (!left) add(platform::windowClosable, "close");
  return left ? controls + ":" : ":" + controls;
}

GtkWidget* makeHeader(const std::string& decorationLayout) {
  GtkWidget* header = gtk_header_bar_new();
  gtk_header_bar_set_show_close_button(GTK_HEADER_BAR(header), TRUE);
  gtk_header_bar_set_has_subtitle(GTK_HEADER_BAR(header), FALSE);
  gtk_header_bar_set_decoration_layout(GTK_HEADER_BAR(header), decorationLayout.c_str());
  gtk_widget_show(header);
  return header;
}

int naturalHeight(GtkWidget* widget) {
  int natural = 0;
  gtk_widget_get_preferred_height(widget, nullptr, &natural);
  return natural;
}

/// A time stamp with which the window manager lets the window come to the front: on X it must not
/// be older than the user's last action.
guint32 currentTime(GtkWidget* window) {
  GdkWindow* surface = gtk_widget_get_window(window);
  if (surface == nullptr || !GDK_IS_X11_WINDOW(surface)) return GDK_CURRENT_TIME;
  return gdk_x11_get_server_time(surface);
}

/// Asks the window manager to keep the content's aspect ratio when the user resizes the window;
/// what surrounds the content keeps its size. GTK's own aspect constraint would be on the whole
/// window, so this goes past it, and has to be repeated after each layout because GTK may have
/// written its own hints. Where no window manager follows the hint, the view leaves margins around
/// its picture. Source: ICCCM 4.1.2.3, WM_NORMAL_HINTS.
void keepAspectRatio(GtkWidget* window, GtkWidget* content, const platform::Size& ratio) {
  GdkWindow* surface = gtk_widget_get_window(window);
  if (surface == nullptr || !GDK_IS_X11_WINDOW(surface)) return;
  Display* display = GDK_WINDOW_XDISPLAY(surface);
  const ::Window id = GDK_WINDOW_XID(surface);
  const int scale = gdk_window_get_scale_factor(surface);  // the hints are in pixels
  XSizeHints hints{};
  long given = 0;
  XGetWMNormalHints(display, id, &hints, &given);
  hints.flags |= PAspect | PBaseSize;
  hints.base_width =
      scale * (gtk_widget_get_allocated_width(window) - gtk_widget_get_allocated_width(content));
  hints.base_height =
      scale * (gtk_widget_get_allocated_height(window) - gtk_widget_get_allocated_height(content));
  hints.min_aspect = {.x = static_cast<int>(ratio.width), .y = static_cast<int>(ratio.height)};
  hints.max_aspect = hints.min_aspect;
  XSetWMNormalHints(display, id, &hints);
}

}  // namespace

Window::Window(std::int64_t number, const platform::WindowOptions& options, const Labels& labels,
               std::shared_ptr<DesktopState> desktop)
    : number_(number), labels_(labels), desktop_(std::move(desktop)) {
  std::string layout;
  desktop_->connection.use([&] { layout = decorationLayout(options.styleMask); });
  desktop_->connection.use([&] {
    build(options.styleMask, layout);
    frame_ = withTop(options.contentRect, chrome());
  });
}

void Window::build(std::uint64_t styleMask, const std::string& decorationLayout) {
  window_ = Reference(GTK_WIDGET(g_object_ref(gtk_window_new(GTK_WINDOW_TOPLEVEL))));
  header_ = makeHeader(decorationLayout);
  column_ = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
  gtk_window_set_titlebar(window(), header_);
  gtk_window_set_resizable(window(), (styleMask & platform::windowResizable) != 0);
  gtk_container_add(GTK_CONTAINER(window_.get()), column_);
  gtk_widget_show(column_);
  g_signal_connect(window_.get(), "delete-event", G_CALLBACK(onDelete), this);
  g_signal_connect(window_.get(), "window-state-event", G_CALLBACK(onWindowState), this);
  g_signal_connect(window_.get(), "map-event", G_CALLBACK(onMap), this);
  g_signal_connect_after(window_.get(), "size-allocate", G_CALLBACK(onSizeAllocate), this);
  g_signal_connect(window_.get(), "focus-in-event", G_CALLBACK(onFocusIn), this);
}

Window::~Window() {
  if (desktop_->keyWindow == this) desktop_->keyWindow = nullptr;
  if (view_) view_->setWindow(nullptr);
  desktop_->connection.use([this] {
    g_signal_handlers_disconnect_by_data(window_.get(), this);
    gtk_widget_destroy(window_.get());
  });
}

void Window::setTitle(const std::string& title) {
  const std::string shown = shownText(title);
  desktop_->connection.use([&] { gtk_window_set_title(window(), shown.c_str()); });
}

void Window::setContentView(const std::shared_ptr<platform::MachineView>& view) {
  if (view == view_) return;
  // A view is in one window at a time.
  if (view && view->window() != nullptr) view->window()->setContentView(nullptr);
  const auto before = std::exchange(
      view_, std::static_pointer_cast<MachineView>(view));  // the only kind that makeView makes
  if (before) before->setWindow(nullptr);
  if (view_) view_->setWindow(this);
  desktop_->connection.use([&] {
    if (before) gtk_container_remove(GTK_CONTAINER(column_), before->widget());
    if (view_) gtk_box_pack_end(GTK_BOX(column_), view_->widget(), TRUE, TRUE, 0);
  });
}

void Window::setInitialFirstResponder(const std::shared_ptr<platform::MachineView>& view) {
  makeFirstResponder(view);
}

void Window::addTitlebarAccessory(const platform::TitlebarAccessory& accessory) {
  desktop_->connection.use([&] {
    const Rect content = withoutTop(frame_, chrome());
    bar_ = makeBar(desktop_->connection, accessory.bar, labels_);
    gtk_box_pack_start(GTK_BOX(column_), bar_, FALSE, FALSE, 0);
    frame_ = withTop(content, chrome());
  });
}

bool Window::isShown() const { return gtk_widget_get_visible(window_.get()) && !iconified_; }

bool Window::isVisible() const {
  bool visible = false;
  desktop_->connection.use([&] { visible = isShown(); });
  return visible;
}

std::optional<Rect> Window::screenVisibleFrame() const {
  std::optional<Rect> frame;
  desktop_->connection.use([&] {
    GdkWindow* surface = gtk_widget_get_window(window_.get());
    if (isShown() && surface != nullptr) frame = visibleFrameAt(surface);
  });
  return frame;
}

double Window::chrome() const {
  return naturalHeight(header_) + (bar_ != nullptr ? naturalHeight(bar_) : 0);
}

/// Where the view is on screen; nothing before it is shown.
std::optional<Rect> Window::contentOnScreen() const {
  if (!isShown() || !view_ || !gtk_widget_get_mapped(view_->widget())) return std::nullopt;
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

Rect Window::currentFrame() const {
  const auto content = contentOnScreen();
  return content ? withTop(*content, chrome()) : frame_;
}

Rect Window::frame() const {
  Rect frame = frame_;
  desktop_->connection.use([&] { frame = currentFrame(); });
  return frame;
}

Rect Window::contentRectForFrameRect(const Rect& frame) const {
  Rect content = frame;
  desktop_->connection.use([&] { content = withoutTop(frame, chrome()); });
  return content;
}

void Window::setFrame(const Rect& frame, platform::Redraw redraw) {
  frame_ = frame;
  desktop_->connection.use([&] {
    applyFrame();
    if (redraw == platform::Redraw::atOnce) gtk_widget_queue_draw(window_.get());
  });
}

void Window::setContentSize(const platform::Size& size) {
  desktop_->connection.use([&] {
    frame_ = withTop({frame_.x, frame_.y, size.width, size.height}, chrome());
    applyFrame();
  });
}

/// GTK's size of a window is without title bar and borders, but only once it knows them: therefore
/// the window is realized first.
void Window::applyFrame() {
  gtk_widget_realize(window_.get());
  gtk_window_unmaximize(window());  // a maximized window ignores a resize
  const ScreenRect outer = toScreen(frame_, mainScreen());
  gtk_window_resize(window(), std::max(outer.width, 1),
                    std::max(outer.height - naturalHeight(header_), 1));
  gtk_window_move(window(), outer.x, outer.y);
}

void Window::setContentAspectRatio(const platform::Size& ratio) {
  ratio_ = ratio;
  // onSizeAllocate applies it.
  desktop_->connection.use([&] { gtk_widget_queue_resize(window_.get()); });
}

void Window::makeKeyAndOrderFront() {
  desktop_->connection.use([this] { present(); });
}

void Window::present() {
  if (!gtk_widget_get_visible(window_.get())) applyFrame();  // GTK forgets a hidden position
  gtk_window_deiconify(window());
  iconified_ = false;
  gtk_widget_show(window_.get());
  gtk_window_present_with_time(window(), currentTime(window_.get()));
  desktop_->keyWindow = this;
}

void Window::orderOut() {
  desktop_->connection.use([this] { hide(); });
}

void Window::hide() {
  if (desktop_->keyWindow == this) desktop_->keyWindow = nullptr;
  frame_ = currentFrame();
  gtk_widget_hide(window_.get());
}

MachineView* Window::responder() const {
  bool isView = false;
  desktop_->connection.use(
      [&] { isView = view_ && gtk_window_get_focus(window()) == view_->widget(); });
  return isView ? view_.get() : nullptr;
}

bool Window::firstResponderIsMachineView() const { return responder() != nullptr; }

bool Window::isFirstResponder(const platform::View& view) const { return responder() == &view; }

void Window::makeFirstResponder(const std::shared_ptr<platform::View>& view) {
  desktop_->connection.use([&] {
    // Every view of this host is a MachineView.
    gtk_window_set_focus(window(), view ? static_cast<MachineView&>(*view).widget() : nullptr);
  });
}

std::string Window::firstResponderDescription() const {
  GtkWidget* widget = nullptr;
  desktop_->connection.use([&] { widget = gtk_window_get_focus(window()); });
  return widget != nullptr ? G_OBJECT_TYPE_NAME(widget) : "none";
}

/// Hides the window unless the delegate objects. Never destroys it: its owner does.
gboolean Window::onDelete(GtkWidget*, GdkEvent*, gpointer self) {
  auto* window = static_cast<Window*>(self);
  bool closes = true;
  window->desktop_->connection.callOut([&] {
    if (window->delegate_ != nullptr) closes = window->delegate_->windowShouldClose();
  });
  if (closes) window->hide();
  return GDK_EVENT_STOP;
}

gboolean Window::onWindowState(GtkWidget*, GdkEventWindowState* event, gpointer self) {
  static_cast<Window*>(self)->iconified_ =
      (event->new_window_state & GDK_WINDOW_STATE_ICONIFIED) != 0;
  return GDK_EVENT_PROPAGATE;
}

/// Without a window manager nobody gives a new window the keyboard focus, so it takes it itself.
gboolean Window::onMap(GtkWidget* widget, GdkEvent*, gpointer) {
  gdk_window_focus(gtk_widget_get_window(widget), currentTime(widget));
  return GDK_EVENT_PROPAGATE;
}

void Window::onSizeAllocate(GtkWidget* widget, GdkRectangle*, gpointer self) {
  const auto* window = static_cast<Window*>(self);
  if (!window->view_ || window->ratio_ == platform::Size{}) return;
  keepAspectRatio(widget, window->view_->widget(), window->ratio_);
}

gboolean Window::onFocusIn(GtkWidget*, GdkEvent*, gpointer self) {
  auto* window = static_cast<Window*>(self);
  window->desktop_->keyWindow = window;
  return GDK_EVENT_PROPAGATE;
}

}  // namespace parlen::gtk
