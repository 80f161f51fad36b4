#pragma once

#include <poll.h>

#include <chrono>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <span>
#include <vector>

#include "platform/event_loop.h"
#include "platform/posix/descriptor.h"

namespace parlen::linux {

/// Keeps a watch on a descriptor; destroying it ends the watch (never closes the descriptor). May
/// be destroyed from inside any callback, its own included, and after its loop.
class DescriptorWatch {
 public:
  virtual ~DescriptorWatch() = default;
};

enum class Readiness { readable, writable };

/// The event loop of another library, which each iteration of ours serves. Main thread.
class ForeignLoop {
 public:
  virtual ~ForeignLoop() = default;
  /// Before each wait: appends what is to be polled to `polled`, and returns the maximum time that
  /// the wait may last.
  virtual std::chrono::nanoseconds prepare(std::vector<pollfd>& polled) = 0;
  /// After each wait, and after the iteration's own work: is handed back what it has appended.
  virtual void dispatch(std::span<const pollfd> polled) = 0;
};

/// The main queue over poll(2). An iteration waits until there is something to do, then runs the
/// callbacks of ready descriptors, then the work that was queued or had become due before the
/// iteration began to run anything. What a piece of work throws leaves `run`; the loop can be run
/// again and has lost nothing. Making one costs nothing: no descriptor is opened before the first
/// wait. `post` may be called on any thread, all else on the loop's.
class EventLoop : public platform::EventLoop {
 public:
  void post(platform::Work work) override;
  void postDelayed(std::chrono::milliseconds delay, platform::Work work) override;
  platform::Result<> run() override;
  /// CLOCK_BOOTTIME.
  std::chrono::nanoseconds now() const override;
  /// CLOCK_MONOTONIC: display servers and input devices stamp their events with it.
  std::chrono::nanoseconds systemUptime() const override;

  // Virtual, so that the window module can call them without being linked with this library.

  /// Runs `onReady` in each iteration in which the descriptor is ready; an end or an error is
  /// readiness too.
  virtual std::unique_ptr<DescriptorWatch> watch(int descriptor, Readiness readiness,
                                                 platform::Work onReady);
  /// Serves `foreign`, which is not owned, from the next iteration on; null ends that. There is at
  /// most one.
  virtual void serve(ForeignLoop* foreign) { foreign_ = foreign; }

 private:
  struct Watched {
    int descriptor;
    short events;
    platform::Work onReady;
    bool ended = false;
  };
  class Watch;

  platform::Result<> waitForSomething();
  platform::Result<> afterFailedPoll(int code);
  void serve();
  void listWatches();
  std::chrono::nanoseconds prepareForeign();
  platform::Result<bool> prepareToSleep();
  std::chrono::nanoseconds timeUntilDue() const;
  void queueDueWork();
  void runReadyWatches();
  void runQueued(std::size_t count);
  void dispatchForeign();

  std::mutex mutex_;
  std::deque<platform::Work> queue_;  // guarded by mutex_
  bool sleeping_ = false;             // guarded by mutex_: a post must wake the loop
  posix::Descriptor wake_;            // set before sleeping_ is first true, constant from then on

  std::multimap<std::chrono::nanoseconds, platform::Work> delayed_;  // equal keys keep their order
  std::vector<std::shared_ptr<Watched>> watches_;
  std::vector<pollfd> polled_;  // the last wait's: the wake, the first watches, the foreign loop's
  std::size_t polledWatches_ = 0;
  int failedPolls_ = 0;  // in a row

  ForeignLoop* foreign_ = nullptr;
  ForeignLoop* prepared_ = nullptr;  // whose descriptors the last wait polled
};

}  // namespace parlen::linux
