#include "platform/simulated/window_system.h"

#include <algorithm>

#include "platform/simulated/window.h"

namespace parlen::simulated {
namespace {

std::string_view word(platform::ActivationPolicy policy) {
  switch (policy) {
    case platform::ActivationPolicy::regular:
      return "regular";
    case platform::ActivationPolicy::prohibited:
      return "prohibited";
  }
  return "";
}

std::string menuEntry(const platform::MenuEntry& entry) {
  return JsonMembers()
      .addText("title", entry.title)
      .addText("action", entry.action)
      .addText("keyEquivalent", entry.keyEquivalent)
      .object();
}

std::string_view word(platform::BarLabel label) {
  switch (label) {
    case platform::BarLabel::title:
      return "title";
    case platform::BarLabel::detail:
      return "detail";
  }
  return "";
}

}  // namespace

void Application::setActivationPolicy(platform::ActivationPolicy policy) {
  world_->trace.record("application.setActivationPolicy",
                       JsonMembers().addText("policy", word(policy)));
}

void Application::disableAutomaticTermination(std::string_view reason) {
  world_->trace.record("process.disableAutomaticTermination",
                       JsonMembers().addText("reason", reason));
}

platform::Result<> Application::run() {
  world_->trace.record("application.run");
  return world_->system.loop().run();
}

void WindowSystem::setMainMenu(const platform::MenuBar& menu) {
  const auto item = [](const auto& submenu) { return jsonArray(submenu, menuEntry); };
  world_->trace.record("application.setMainMenu",
                       JsonMembers().add("items", jsonArray(menu, item)));
  world_->desktop.hasMainMenu = true;
}

void WindowSystem::activate(platform::OtherApps otherApps) {
  world_->trace.record(
      "application.activate",
      JsonMembers().addBoolean("ignoringOtherApps", otherApps == platform::OtherApps::ignore));
}

std::optional<platform::Rect> WindowSystem::mainScreenVisibleFrame() const {
  return world_->scenario.window.visibleFrame;
}

std::shared_ptr<platform::MachineView> WindowSystem::makeMachineView(
    const platform::Rect& frame, platform::VirtualMachine&,
    const platform::MachineViewOptions& options) {
  auto view = std::make_shared<MachineView>(world_->scenario.window.views);
  world_->trace.record("view.create",
                       JsonMembers()
                           .addText("view", view->name())
                           .add("frame", list(frame))
                           .addBoolean("capturesSystemKeys", options.capturesSystemKeys)
                           .addBoolean("automaticallyReconfiguresDisplay",
                                       options.automaticallyReconfiguresDisplay));
  return view;
}

std::unique_ptr<platform::Window> WindowSystem::makeWindow(const platform::WindowOptions& options) {
  return std::make_unique<Window>(world_, options);
}

void WindowSystem::setLabelText(platform::BarLabel label, const std::string& text) {
  world_->trace.record("label.setText",
                       JsonMembers().addText("label", word(label)).addText("text", text));
}

std::unique_ptr<platform::KeyEvent> WindowSystem::keyEvent(
    const platform::KeyEventDetails& details) {
  const auto& unbuildable = world_->scenario.window.unbuildableKeyCodes;
  if (std::ranges::find(unbuildable, details.keyCode) != unbuildable.end()) return nullptr;
  return std::make_unique<KeyEvent>(details);
}

void WindowSystem::sendEvent(const platform::KeyEvent& event) {
  // No guest takes the keys: they are only traced.
  world_->trace.record("application.sendEvent",
                       describe(static_cast<const KeyEvent&>(event).details()));
}

}  // namespace parlen::simulated
