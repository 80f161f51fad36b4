#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <stdexcept>
#include <utility>

#include "platform/event_loop.h"

namespace parlen::test {

/// A main queue that waits for posts of other threads, on any system. Unlike that of macOS it lets
/// out what a piece of work throws, and can then be run again.
class QueueLoop final : public platform::EventLoop {
 public:
  void post(platform::Work work) override {
    const std::scoped_lock lock(mutex_);
    queue_.push_back(std::move(work));
    posted_.notify_one();
  }

  void postDelayed(std::chrono::milliseconds, platform::Work) override {
    throw std::logic_error("nothing is delayed here");
  }

  platform::Result<> run() override {
    for (;;) {
      std::unique_lock lock(mutex_);
      posted_.wait(lock, [&] { return !queue_.empty(); });
      const platform::Work work = std::move(queue_.front());
      queue_.pop_front();
      lock.unlock();
      work();
    }
  }

  std::chrono::nanoseconds now() const override {
    return std::chrono::steady_clock::now().time_since_epoch();
  }
  std::chrono::nanoseconds systemUptime() const override { return now(); }

 private:
  std::mutex mutex_;
  std::condition_variable posted_;
  std::deque<platform::Work> queue_;
};

}  // namespace parlen::test
