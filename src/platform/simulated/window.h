#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/key_event.h"
#include "platform/simulated/scenario.h"
#include "platform/simulated/world.h"
#include "platform/window_system.h"

namespace parlen::simulated {

/// A view of the scenario and its subviews. `Interface` is the platform interface that it
/// implements.
template <class Interface>
class ViewOf : public Interface {
 public:
  explicit ViewOf(const ViewScenario& scenario)
      : name_(scenario.name.empty() ? defaultViewName : scenario.name),
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
  /// The name of `view` if it is this view or below it, else null.
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

/// A machine's view, which shows nothing.
class MachineView : public ViewOf<platform::MachineView> {
 public:
  using ViewOf::ViewOf;

  platform::Window* window() const override;
  /// Called by Window only. Null: the view is in no window.
  void moveTo(Window* window) { window_ = window; }
  Window* holder() const { return window_; }

 private:
  Window* window_ = nullptr;
};

/// The simulated object behind a view; null for null.
inline std::shared_ptr<MachineView> opened(const std::shared_ptr<platform::MachineView>& view) {
  return std::static_pointer_cast<MachineView>(view);
}

/// A window that is not drawn: it has a frame, an order on screen and a first responder.
class Window : public platform::Window {
 public:
  Window(std::shared_ptr<World> world, const platform::WindowOptions& options);
  ~Window() override;
  Window(const Window&) = delete;
  Window& operator=(const Window&) = delete;

  std::int64_t windowNumber() const override { return number_; }
  void setTitle(const std::string& title) override;
  void setReleasedWhenClosed(platform::ReleasedWhenClosed released) override;
  void setDelegate(platform::WindowDelegate* delegate) override;
  void setContentView(const std::shared_ptr<platform::MachineView>& view) override;
  void setInitialFirstResponder(const std::shared_ptr<platform::MachineView>& view) override;
  void addTitlebarAccessory(const platform::TitlebarAccessory& accessory) override;

  bool isVisible() const override { return world_->desktop.shows(*this); }
  std::optional<platform::Rect> screenVisibleFrame() const override;
  platform::Rect frame() const override { return frame_; }
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

  // For the user: see Desktop.
  bool hasCloseButton() const { return (styleMask_ & platform::windowClosable) != 0; }
  platform::WindowDelegate* delegate() const { return delegate_; }
  /// The action of the first button with this title in the bars; empty if there is none.
  std::function<void()> buttonAction(std::string_view title) const;

 private:
  void record(std::string_view call, const JsonMembers& members = {}) const;
  std::string nameOf(const platform::View& view) const;
  void focus(std::shared_ptr<platform::View> view);
  void removeContentView();

  std::shared_ptr<World> world_;
  std::int64_t number_;
  std::uint64_t styleMask_;
  platform::Rect frame_;
  bool wasShown_ = false;
  platform::WindowDelegate* delegate_ = nullptr;
  std::vector<platform::TitlebarAccessory> accessories_;
  std::shared_ptr<MachineView> contentView_;
  std::shared_ptr<MachineView> initialFirstResponder_;
  std::shared_ptr<platform::View> firstResponder_;  // in the content view's tree
};

/// A key event: the details that it was made of.
class KeyEvent : public platform::KeyEvent {
 public:
  explicit KeyEvent(platform::KeyEventDetails details) : details_(std::move(details)) {}

  const platform::KeyEventDetails& details() const { return details_; }

 private:
  platform::KeyEventDetails details_;
};

}  // namespace parlen::simulated
