#pragma once

#import <Foundation/Foundation.h>

#include <string_view>
#include <utility>

#import "platform/macos/bridge.h"
#include "platform/window_system.h"

@class ParlenApplicationDelegate;

namespace parlen::macos {

/// Whether this process belongs to a login session with a window server. Without one (over ssh, as
/// a daemon) AppKit aborts, raises or never returns, so nothing of it may be called. Any thread.
bool hasWindowServer();

/// This process as an NSApplication, which the first call creates. Without a window server there is
/// none: setting a policy does nothing then, and the loop is the main run loop, as it is after an
/// application that fails. What AppKit fails to do goes to `warn`. Main thread.
class Application final : public platform::Application {
 public:
  explicit Application(platform::WarningSink warn) : guard_(std::move(warn)) {}

  void setActivationPolicy(platform::ActivationPolicy policy) override;
  void disableAutomaticTermination(std::string_view reason) override;
  void setQuitHandler(platform::Work onQuit) override;
  platform::Result<> run() override;

 private:
  Guard guard_;
  ParlenApplicationDelegate* delegate_;  // NSApplication's own reference to it is weak
};

}  // namespace parlen::macos
