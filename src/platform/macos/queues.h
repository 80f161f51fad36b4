#pragma once

#include <memory>
#include <string_view>

#include "platform/event_loop.h"

namespace parlen::macos {

/// The main dispatch queue and the system's clocks. Stateless.
class MainQueue final : public platform::EventLoop {
 public:
  void post(platform::Work work) override;
  void postDelayed(std::chrono::milliseconds delay, platform::Work work) override;
  void run() override;
  std::chrono::nanoseconds now() const override;
  std::chrono::nanoseconds systemUptime() const override;
};

/// A serial dispatch queue.
std::unique_ptr<platform::SerialQueue> makeSerialQueue(std::string_view label);

}  // namespace parlen::macos
