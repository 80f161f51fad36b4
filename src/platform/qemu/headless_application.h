#pragma once

#include "platform/application.h"
#include "platform/event_loop.h"

namespace parlen::qemu {

/// A process without windows: no desktop knows it, and none ends it for being idle.
class HeadlessApplication : public platform::Application {
 public:
  explicit HeadlessApplication(platform::EventLoop& loop) : loop_(loop) {}

  void setActivationPolicy(platform::ActivationPolicy) override {}
  void disableAutomaticTermination(std::string_view) override {}
  void run() override { loop_.run(); }

 private:
  platform::EventLoop& loop_;
};

}  // namespace parlen::qemu
