#pragma once

#include <chrono>
#include <deque>
#include <map>
#include <mutex>

#include "platform/event_loop.h"

namespace parlen::test {

/// Thrown by a loop that has nothing left to run: whatever the code waits for would never come.
struct LoopIdle {};

/// A main queue on a clock that only moves when a test moves it: a minute costs nothing.
class VirtualLoop : public platform::EventLoop {
 public:
  void post(platform::Work work) override;
  void postDelayed(std::chrono::milliseconds delay, platform::Work work) override;
  /// Runs until nothing is queued, then throws LoopIdle, or returns if it was told to.
  void run() override;
  std::chrono::nanoseconds now() const override { return now_; }
  std::chrono::nanoseconds systemUptime() const override { return now_; }

  /// Runs the next piece of work that is due, moving the clock to it; false if nothing is queued.
  bool runOne();
  void runUntilIdle();
  /// Runs everything that falls due within `duration` and leaves the clock at its end.
  void advance(std::chrono::milliseconds duration);
  /// Moves the clock, past whatever is due: time that passes while the main thread is busy.
  void skip(std::chrono::nanoseconds duration) { now_ += duration; }

  bool returnsWhenIdle = false;

 private:
  bool takePosted(platform::Work& work);

  std::mutex mutex_;  // posting is allowed on any thread
  std::deque<platform::Work> posted_;
  std::multimap<std::chrono::nanoseconds, platform::Work> delayed_;  // equal keys keep their order
  std::chrono::nanoseconds now_ = std::chrono::hours(1);
};

}  // namespace parlen::test
