#pragma once

#import <Virtualization/Virtualization.h>

#include <memory>
#include <optional>
#include <utility>
#include <vector>

#import "platform/macos/bar.h"
#import "platform/macos/bridge.h"
#include "platform/window_system.h"

@class ParlenWindowDelegate;

namespace parlen::macos {

/// What every view of this host is, beside its interface.
class NativeView {
 public:
  virtual ~NativeView() = default;
  virtual NSView* native() const = 0;
};

/// The views directly in `view`, from back to front. Each call makes new objects around the same
/// AppKit views, so views are compared by `native`, not by address.
std::vector<std::shared_ptr<platform::View>> subviewsOf(NSView* view, const Guard& guard);

/// The part of `screen` that windows may use; nullopt for nil.
std::optional<platform::Rect> visibleFrameOf(NSScreen* screen);

template <class Interface, class Native>
class ViewOf : public Interface, public NativeView {
 public:
  ViewOf(Native* view, Guard guard) : view_(view), guard_(std::move(guard)) {}

  NSView* native() const override { return view_; }
  Native* object() const { return view_; }
  bool acceptsFirstResponder() const override {
    return guard_.ask([this] { return view_.acceptsFirstResponder != NO; });
  }
  std::vector<std::shared_ptr<platform::View>> subviews() const override {
    return subviewsOf(view_, guard_);
  }

 protected:
  const Guard& guard() const { return guard_; }

 private:
  Native* view_;
  Guard guard_;
};

class Window;

class MachineView final : public ViewOf<platform::MachineView, VZVirtualMachineView> {
 public:
  using ViewOf::ViewOf;

  platform::Window* window() const override;
  /// The window whose content the view is, or null; not owned.
  Window* holder() const { return holder_; }
  /// Called by a window when it takes the view or, with null, gives it up.
  void moveTo(Window* window) { holder_ = window; }

 private:
  Window* holder_ = nullptr;
};

/// Main thread, as all of AppKit.
class Window final : public platform::Window {
 public:
  /// `labels` are the texts of any bar that the window is given. What AppKit fails to do goes to
  /// `guard`; a window that it does not make at all stays invisible.
  Window(const platform::WindowOptions& options, const BarLabels& labels, Guard guard);
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
  NSWindow* laidOut() const;

  Guard guard_;
  NSWindow* window_ = nil;
  BarLabels labels_;
  ParlenWindowDelegate* delegate_;  // NSWindow's own reference to it is weak
  std::shared_ptr<MachineView> content_;
  std::vector<BarTargets> targets_;  // one for each bar
};

}  // namespace parlen::macos
