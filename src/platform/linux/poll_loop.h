#pragma once

#include <poll.h>

#include <chrono>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include "platform/linux/descriptor.h"
#include "platform/linux/loop.h"

namespace parlen::linux {

/// The main queue. A turn waits until there is something to do, then runs the handlers of ready
/// descriptors, then the work that was queued or had become due before the turn began to run
/// anything. What a piece of work throws leaves `run`; the loop can be run again and has lost
/// nothing. Making one costs nothing: no descriptor is opened before the first wait.
class PollLoop final : public Loop {
 public:
  void post(platform::Work work) override;
  void postDelayed(std::chrono::milliseconds delay, platform::Work work) override;
  void run() override;
  /// CLOCK_BOOTTIME.
  std::chrono::nanoseconds now() const override;
  /// CLOCK_MONOTONIC: display servers and input devices stamp their events with it.
  std::chrono::nanoseconds systemUptime() const override;
  std::unique_ptr<DescriptorWatch> watch(int descriptor, Readiness readiness,
                                         platform::Work ready) override;
  void serve(ForeignLoop* foreign) override { foreign_ = foreign; }

 private:
  struct Watched {
    int descriptor;
    short events;
    platform::Work ready;
    bool ended = false;
  };
  class Watch;

  void turn();
  void waitForSomething();
  void listWatches();
  std::chrono::nanoseconds prepareForeign();
  bool prepareToSleep();
  std::chrono::nanoseconds timeUntilDue() const;
  void queueDueWork();
  void runReadyWatches();
  void runQueued(std::size_t count);
  void dispatchForeign();

  std::mutex mutex_;
  std::deque<platform::Work> queue_;  // guarded by mutex_
  bool sleeping_ = false;             // guarded by mutex_: a post must wake the loop
  Descriptor wake_;                   // set before sleeping_ is first true, constant from then on

  std::multimap<std::chrono::nanoseconds, platform::Work> delayed_;  // equal keys keep their order
  std::vector<std::shared_ptr<Watched>> watches_;
  std::vector<pollfd> polled_;  // the last wait's: the wake, the first watches, the foreign loop's
  std::size_t polledWatches_ = 0;

  ForeignLoop* foreign_ = nullptr;
  ForeignLoop* prepared_ = nullptr;  // whose descriptors the last wait polled
};

}  // namespace parlen::linux
