#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "platform/simulated/world.h"
#include "platform/window_system.h"

namespace parlen::simulated {

/// The application's calls; run() serves the main queue.
class Application : public platform::Application {
 public:
  explicit Application(std::shared_ptr<World> world) : world_(std::move(world)) {}

  void setActivationPolicy(platform::ActivationPolicy policy) override;
  void disableAutomaticTermination(std::string_view reason) override;
  void setQuitHandler(platform::Work) override {}  // no simulated user quits
  platform::Result<> run() override;

 private:
  std::shared_ptr<World> world_;
};

/// A window system with one screen or none. The script's user acts on its windows by way of
/// Desktop.
class WindowSystem : public platform::WindowSystem {
 public:
  explicit WindowSystem(std::shared_ptr<World> world) : world_(std::move(world)) {}

  bool hasMainMenu() const override { return world_->desktop.hasMainMenu; }
  void setMainMenu(const platform::MenuBar& menu) override;
  void activate(platform::OtherApps otherApps) override;
  std::optional<platform::Rect> mainScreenVisibleFrame() const override;

  std::shared_ptr<platform::MachineView> makeMachineView(
      const platform::Rect& frame, platform::VirtualMachine& machine,
      const platform::MachineViewOptions& options) override;
  std::unique_ptr<platform::Window> makeWindow(const platform::WindowOptions& options) override;
  void setLabelText(platform::BarLabel label, const std::string& text) override;

  std::unique_ptr<platform::KeyEvent> keyEvent(const platform::KeyEventDetails& details) override;
  void sendEvent(const platform::KeyEvent& event) override;

 private:
  std::shared_ptr<World> world_;
};

}  // namespace parlen::simulated
