#pragma once

#include <chrono>
#include <functional>

namespace parlen::platform {

using Work = std::function<void()>;

/// The main queue and the clock. All of the tool's work runs on the thread that runs this loop.
class EventLoop {
 public:
  virtual ~EventLoop() = default;

  /// Queues `work` for a later turn, behind everything posted before. Any thread.
  virtual void post(Work work) = 0;

  /// Runs `work` no earlier than `delay` from now; a delay of 0 is a later turn too. Main thread.
  virtual void postDelayed(std::chrono::milliseconds delay, Work work) = 0;

  /// Serves the queue on the calling thread. The process ends from inside a piece of work.
  virtual void run() = 0;

  /// Time on a clock that never goes back and that counts on while the host sleeps. Any thread.
  virtual std::chrono::nanoseconds now() const = 0;

  /// Time since the host booted, as the window system stamps its events. Any thread.
  virtual std::chrono::nanoseconds systemUptime() const = 0;
};

/// Runs pieces of work one at a time, in the order of their submission.
class SerialQueue {
 public:
  virtual ~SerialQueue() = default;

  /// Runs `work` and returns after it has run. Any thread, except from work on this very queue.
  virtual void sync(const Work& work) = 0;
};

}  // namespace parlen::platform
