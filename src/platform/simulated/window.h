#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/simulated/view.h"
#include "platform/simulated/world.h"
#include "platform/window_system.h"

namespace parlen::simulated {

/// A window that nobody sees: it knows where it would be and who in it would get the keys.
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

  // What a user finds.
  bool hasCloseButton() const { return (styleMask_ & platform::windowClosable) != 0; }
  platform::WindowDelegate* delegate() const { return delegate_; }
  /// What the bars' first button with this title does; empty if there is none.
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

}  // namespace parlen::simulated
