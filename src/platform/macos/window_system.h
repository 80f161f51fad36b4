#pragma once

#include <memory>

#include "platform/window_system.h"

namespace parlen::macos {

/// NSApplication's shared instance, which the first call creates.
class Application final : public platform::Application {
 public:
  void setActivationPolicy(platform::ActivationPolicy policy) override;
  void disableAutomaticTermination(std::string_view reason) override;
  void run() override;
};

/// Windows, menus and key events of AppKit. Main thread.
std::unique_ptr<platform::WindowSystem> makeWindowSystem();

}  // namespace parlen::macos
