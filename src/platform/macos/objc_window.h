#pragma once

#import <AppKit/AppKit.h>

#include <memory>

#import "platform/macos/objc_bar.h"
#import "platform/macos/objc_view.h"
#include "platform/window_system.h"

@class ParlenWindowDelegate;

namespace parlen::macos {

class Window final : public platform::Window {
 public:
  /// `labels` are the texts of the bars that the window may be given.
  Window(const platform::WindowOptions& options, const BarLabels& labels);
  ~Window() override;
  Window(const Window&) = delete;
  Window& operator=(const Window&) = delete;

  std::int64_t windowNumber() const override;
  void setTitle(const std::string& title) override;
  void setReleasedWhenClosed(platform::ReleasedWhenClosed released) override;
  void setDelegate(platform::WindowDelegate* delegate) override;
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

 private:
  NSWindow* window_;
  BarLabels labels_;
  ParlenWindowDelegate* delegate_;  // the window's reference to it is weak
  std::shared_ptr<MachineView> content_;
  std::vector<BarTargets> targets_;  // and so are those of the buttons to these
};

}  // namespace parlen::macos
