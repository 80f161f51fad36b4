#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/gtk/bar.h"
#include "platform/gtk/connection.h"
#include "platform/gtk/module.h"
#include "platform/gtk/window.h"
#include "platform/linux/event_loop.h"

namespace parlen::gtk {

/// The default display. Made once, after GTK has been initialized. Main thread only.
class Desktop final : public WindowSystem {
 public:
  Desktop(const ModuleContext& context, Connection& connection);

  bool isLost() const override { return state_->connection.isBroken(); }

  bool hasMainMenu() const override { return hasMainMenu_; }
  /// Applications have no menu bar on this desktop: only remembers that there was one.
  void setMainMenu(const platform::MenuBar&) override { hasMainMenu_ = true; }
  /// Brings the key window to the front, which makes the application active.
  void activate(platform::OtherApps otherApps) override;
  std::optional<platform::Rect> mainScreenVisibleFrame() const override;

  /// The frame is not used: the window gives the view its place.
  std::shared_ptr<platform::MachineView> makeMachineView(
      const platform::Rect& frame, platform::VirtualMachine& machine,
      const platform::MachineViewOptions& options) override;
  std::unique_ptr<platform::Window> makeWindow(const platform::WindowOptions& options) override;
  void setLabelText(platform::BarLabel label, const std::string& text) override;

  std::unique_ptr<platform::KeyEvent> keyEvent(const platform::KeyEventDetails& details) override;
  void sendEvent(const platform::KeyEvent& event) override;

 private:
  void lose();

  const ModuleContext context_;
  std::unique_ptr<linux::ForeignLoop> glibLoop_;  // null once the connection is broken
  Labels labels_;
  bool hasMainMenu_ = false;
  std::int64_t lastWindowNumber_ = 0;

  const std::shared_ptr<DesktopState> state_;
};

}  // namespace parlen::gtk
