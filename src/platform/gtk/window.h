#pragma once

#include <gtk/gtk.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/gtk/bar.h"
#include "platform/gtk/connection.h"
#include "platform/gtk/reference.h"
#include "platform/gtk/view.h"
#include "platform/window_system.h"

namespace parlen::gtk {

class Window;

/// What all windows of a desktop share.
struct DesktopState {
  Connection& connection;
  Window* keyWindow = nullptr;  // the one that the user or the program brought to the front
};

/// A window with a title bar that it draws itself, so that its chrome is known before it is on
/// screen and is the same under every window manager, or under none. Its frame reaches from the
/// content's bottom-left corner to the title bar's top-right one; shadows and resize borders lie
/// outside of it.
class Window final : public platform::Window {
 public:
  Window(std::int64_t number, const platform::WindowOptions& options, const Labels& labels,
         std::shared_ptr<DesktopState> desktop);
  ~Window() override;
  Window(const Window&) = delete;
  Window& operator=(const Window&) = delete;

  std::int64_t windowNumber() const override { return number_; }
  void setTitle(const std::string& title) override;
  /// Without effect: the window lives until its owner destroys it.
  void setReleasedWhenClosed(platform::ReleasedWhenClosed) override {}
  void setDelegate(platform::WindowDelegate* delegate) override { delegate_ = delegate; }
  void setContentView(const std::shared_ptr<platform::MachineView>& view) override;
  void setInitialFirstResponder(const std::shared_ptr<platform::MachineView>& view) override;
  /// The window grows upward by the bar's height; its content stays where it is.
  void addTitlebarAccessory(const platform::TitlebarAccessory& accessory) override;

  bool isVisible() const override;
  std::optional<platform::Rect> screenVisibleFrame() const override;
  platform::Rect frame() const override;
  platform::Rect contentRectForFrameRect(const platform::Rect& frame) const override;
  void setFrame(const platform::Rect& frame, platform::Redraw redraw) override;
  void setContentSize(const platform::Size& size) override;
  void setContentAspectRatio(const platform::Size& ratio) override;

  void makeKeyAndOrderFront() override;
  void orderOut() override;

  bool firstResponderIsMachineView() const override;
  bool isFirstResponder(const platform::View& view) const override;
  void makeFirstResponder(const std::shared_ptr<platform::View>& view) override;
  std::string firstResponderDescription() const override;

  /// The machine view that keys go to, or null.
  MachineView* responder() const;

 private:
  static gboolean onDelete(GtkWidget* widget, GdkEvent* event, gpointer self);
  static gboolean onWindowState(GtkWidget* widget, GdkEventWindowState* event, gpointer self);
  static gboolean onMap(GtkWidget* widget, GdkEvent* event, gpointer self);
  static void onSizeAllocate(GtkWidget* widget, GdkRectangle* area, gpointer self);
  static gboolean onFocusIn(GtkWidget* widget, GdkEvent* event, gpointer self);

  // These are called inside of the connection's `use`.
  GtkWindow* window() const { return GTK_WINDOW(window_.get()); }
  void build(std::uint64_t styleMask, const std::string& decorationLayout);
  bool isShown() const;
  double chrome() const;
  std::optional<platform::Rect> contentOnScreen() const;
  platform::Rect currentFrame() const;
  void applyFrame();
  void present();
  void hide();

  const std::int64_t number_;
  const Labels& labels_;
  const std::shared_ptr<DesktopState> desktop_;
  platform::WindowDelegate* delegate_ = nullptr;
  Reference<GtkWidget> window_;  // null only if the connection broke while it was made
  GtkWidget* header_ = nullptr;  // owned by window_, as are the next two
  GtkWidget* column_ = nullptr;  // the bar, if there is one, above the view
  GtkWidget* bar_ = nullptr;     // null: none
  std::shared_ptr<MachineView> view_;
  platform::Rect frame_;  // as last requested
  platform::Size ratio_;  // of the content; empty: any
  bool iconified_ = false;
};

}  // namespace parlen::gtk
