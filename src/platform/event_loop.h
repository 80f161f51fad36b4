#pragma once

#include <chrono>
#include <functional>

#include "platform/error.h"

namespace parlen::platform {

/// A piece of work for a queue; called once.
using Work = std::function<void()>;

/// The main queue and the clocks. The thread that calls `run` is the main thread; all of the tool's
/// work runs on it.
class EventLoop {
 public:
  virtual ~EventLoop() = default;

  /// Queues `work` behind everything posted before; it runs on the main thread in a later loop
  /// iteration, never from inside this call. Any thread.
  virtual void post(Work work) = 0;

  /// Runs `work` on the main thread no earlier than `delay` from now; with a delay of 0 too, in a
  /// later loop iteration. Main thread.
  virtual void postDelayed(std::chrono::milliseconds delay, Work work) = 0;

  /// Serves the queue on the calling thread; a piece of work ends the process. Returns only if the
  /// system has ended the loop, or with an error if it lets the loop wait for nothing any more:
  /// what is queued then does not run.
  virtual Result<> run() = 0;

  /// The time on a monotonic clock that also counts while the host sleeps; only differences have a
  /// meaning. Any thread.
  virtual std::chrono::nanoseconds now() const = 0;

  /// The time since the host booted, on the clock of the window system's event timestamps. Any
  /// thread.
  virtual std::chrono::nanoseconds systemUptime() const = 0;
};

/// Runs pieces of work one at a time, in the order in which they were submitted.
class SerialQueue {
 public:
  virtual ~SerialQueue() = default;

  /// Runs `work` and returns after it has run. Any thread, but not from work that runs on this
  /// queue: that would deadlock.
  virtual void sync(const Work& work) = 0;
};

}  // namespace parlen::platform
