#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/simulated/scenario.h"
#include "platform/window_system.h"

namespace parlen::simulated {

inline constexpr std::string_view unnamedView = "machine-view";

/// A view as the scenario describes it, with the tree below it. `Promise` is what it is to the
/// program.
template <class Promise>
class ViewOf : public Promise {
 public:
  explicit ViewOf(const ViewScenario& scenario)
      : name_(scenario.name.empty() ? unnamedView : scenario.name),
        acceptsFirstResponder_(scenario.acceptsFirstResponder) {
    for (const ViewScenario& subview : scenario.subviews) {
      subviews_.push_back(std::make_shared<ViewOf<platform::View>>(subview));
    }
  }

  bool acceptsFirstResponder() const override { return acceptsFirstResponder_; }
  std::vector<std::shared_ptr<platform::View>> subviews() const override {
    return {subviews_.begin(), subviews_.end()};
  }

  const std::string& name() const { return name_; }
  /// The name of a view of this tree; null for any other view.
  const std::string* nameOf(const platform::View& view) const {
    if (&view == this) return &name_;
    for (const auto& subview : subviews_) {
      if (const std::string* name = subview->nameOf(view)) return name;
    }
    return nullptr;
  }

 private:
  std::string name_;
  bool acceptsFirstResponder_;
  std::vector<std::shared_ptr<ViewOf<platform::View>>> subviews_;
};

class Window;

/// The view of a machine that has nothing to show.
class MachineView : public ViewOf<platform::MachineView> {
 public:
  using ViewOf::ViewOf;

  platform::Window* window() const override;
  /// Called by the windows themselves as the view comes and goes; null: it is in none.
  void moveTo(Window* window) { window_ = window; }
  Window* holder() const { return window_; }

 private:
  Window* window_ = nullptr;
};

/// What is behind a view that this host made; null stays null.
inline std::shared_ptr<MachineView> opened(const std::shared_ptr<platform::MachineView>& view) {
  return std::static_pointer_cast<MachineView>(view);
}

}  // namespace parlen::simulated
