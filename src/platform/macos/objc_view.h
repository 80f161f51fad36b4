#pragma once

#import <Virtualization/Virtualization.h>

#include <memory>
#include <vector>

#include "platform/window_system.h"

namespace parlen::macos {

/// What every view of this host has behind it.
class NativeView {
 public:
  virtual ~NativeView() = default;
  virtual NSView* native() const = 0;
};

/// The AppKit view of a view that this host made.
NSView* opened(const platform::View& view);

/// The views directly in `view`, from back to front. Each call makes new ones around the same
/// AppKit views, so they are told apart by what is behind them.
std::vector<std::shared_ptr<platform::View>> subviewsOf(NSView* view);

template <class Promise, class Native>
class ViewOf : public Promise, public NativeView {
 public:
  explicit ViewOf(Native* view) : view_(view) {}

  NSView* native() const override { return view_; }
  Native* object() const { return view_; }
  bool acceptsFirstResponder() const override { return view_.acceptsFirstResponder; }
  std::vector<std::shared_ptr<platform::View>> subviews() const override {
    return subviewsOf(view_);
  }

 private:
  Native* view_;
};

class Window;

class MachineView final : public ViewOf<platform::MachineView, VZVirtualMachineView> {
 public:
  using ViewOf::ViewOf;

  platform::Window* window() const override;
  /// Called by the windows themselves as the view comes and goes; null: it is in none.
  void moveTo(Window* window) { window_ = window; }

 private:
  Window* window_ = nullptr;
};

}  // namespace parlen::macos
