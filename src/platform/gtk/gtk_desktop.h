#pragma once

#include <memory>

#include "platform/gtk/bar.h"
#include "platform/gtk/glib_loop.h"
#include "platform/gtk/module.h"
#include "platform/gtk/window.h"

namespace parlen::gtk {

/// The default display. Made once, after the toolkit has been initialized.
class GtkDesktop final : public Desktop {
 public:
  explicit GtkDesktop(const Surroundings& surroundings);

  bool isLost() const override { return state_->lost; }

  bool hasMainMenu() const override { return hasMainMenu_; }
  /// Applications have no menu bar of their own on this desktop; that it was given is remembered.
  void setMainMenu(const platform::MenuBar&) override { hasMainMenu_ = true; }
  /// Who is active follows from which window is in front.
  void activate(platform::OtherApps otherApps) override;
  std::optional<platform::Rect> mainScreenVisibleFrame() const override;

  std::shared_ptr<platform::MachineView> makeMachineView(
      const platform::Rect& frame, platform::VirtualMachine& machine,
      const platform::MachineViewOptions& options) override;
  std::unique_ptr<platform::Window> makeWindow(const platform::WindowOptions& options) override;
  void setLabelText(platform::BarLabel label, const std::string& text) override;

  std::unique_ptr<platform::KeyEvent> keyEvent(const platform::KeyEventDetails& details) override;
  void sendEvent(const platform::KeyEvent& event) override;

  /// The display server has gone: nothing is served any more.
  void lose();

 private:
  const Surroundings surroundings_;
  std::unique_ptr<GlibLoop> loop_;
  Labels labels_;
  bool hasMainMenu_ = false;
  std::int64_t lastWindowNumber_ = 0;

  const std::shared_ptr<DesktopState> state_ = std::make_shared<DesktopState>();
};

}  // namespace parlen::gtk
