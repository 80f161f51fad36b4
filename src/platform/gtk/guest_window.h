#pragma once

#include <gtk/gtk.h>

#include <memory>

#include "platform/gtk/labels.h"
#include "platform/gtk/reference.h"
#include "platform/gtk/view.h"
#include "platform/window_system.h"

namespace parlen::gtk {

class GuestWindow;

/// What all windows of a desktop share.
struct DesktopState {
  GuestWindow* keyWindow = nullptr;  // the one that the user or the program brought to the front
  bool lost = false;                 // the display server has gone: it must not be asked any more
};

/// A window with a title bar that it draws itself, so that its chrome is known before it is on
/// screen and is the same under every window manager, or under none. Its frame reaches from the
/// content's bottom-left corner to the title bar's top-right one; shadows and borders for resizing
/// lie outside of it.
class GuestWindow final : public platform::Window {
 public:
  GuestWindow(std::int64_t number, const platform::WindowOptions& options, const Labels& labels,
              std::shared_ptr<DesktopState> desktop);
  ~GuestWindow() override;
  GuestWindow(const GuestWindow&) = delete;
  GuestWindow& operator=(const GuestWindow&) = delete;

  std::int64_t windowNumber() const override { return number_; }
  void setTitle(const std::string& title) override;
  void setReleasedWhenClosed(platform::ReleasedWhenClosed) override {}  // its owner decides
  void setDelegate(platform::WindowDelegate* delegate) override { delegate_ = delegate; }
  void setContentView(const std::shared_ptr<platform::MachineView>& view) override;
  void setInitialFirstResponder(const std::shared_ptr<platform::MachineView>& view) override;
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
  static gboolean closed(GtkWidget* widget, GdkEvent* event, gpointer self);
  static gboolean stateChanged(GtkWidget* widget, GdkEventWindowState* event, gpointer self);
  static gboolean mapped(GtkWidget* widget, GdkEvent* event, gpointer self);
  static void allocated(GtkWidget* widget, GdkRectangle* area, gpointer self);
  static gboolean focused(GtkWidget* widget, GdkEvent* event, gpointer self);

  GtkWindow* window() const { return GTK_WINDOW(window_.get()); }
  double chrome() const;
  int barHeight() const;
  std::optional<platform::Rect> contentOnScreen() const;
  void applyFrame();

  const std::int64_t number_;
  const Labels& labels_;
  const std::shared_ptr<DesktopState> desktop_;
  platform::WindowDelegate* delegate_ = nullptr;
  Reference<GtkWidget> window_;
  GtkWidget* header_;  // in the window, as the others
  GtkWidget* column_;  // the bar, if there is one, above the view
  GtkWidget* bar_ = nullptr;
  std::shared_ptr<MachineView> view_;
  platform::Rect frame_;  // as it was asked for last
  platform::Size ratio_;  // of the content; empty: any
  bool iconified_ = false;
};

}  // namespace parlen::gtk
