#pragma once

#include <chrono>
#include <memory>
#include <utility>

#include "platform/event_loop.h"

namespace parlen::simulated {

/// Delayed work of one object: what has not run by the time of the object's end never does. The
/// object may be destroyed by its own work, which then touches it no more.
class Timers {
 public:
  explicit Timers(platform::EventLoop& loop) : loop_(loop) {}

  void after(std::chrono::milliseconds delay, platform::Work work) {
    loop_.postDelayed(delay, [owner = std::weak_ptr(alive_), work = std::move(work)] {
      if (!owner.expired()) work();
    });
  }

 private:
  platform::EventLoop& loop_;
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace parlen::simulated
