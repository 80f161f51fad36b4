#pragma once

#include <chrono>
#include <deque>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/event_loop.h"

namespace parlen::explore {

/// A main queue on which nothing runs and no time passes until it is told to. Each piece of work
/// has a label, so that a test can say what is queued.
class ExploredLoop final : public platform::EventLoop {
 public:
  struct Queued {
    std::string label;
    platform::Work work;
  };
  struct Delayed {
    std::chrono::milliseconds delay;
    std::chrono::nanoseconds due;
    platform::Work work;
  };

  void post(platform::Work work) override;
  void postDelayed(std::chrono::milliseconds delay, platform::Work work) override;
  /// Calls `onRun`, which steps the loop.
  platform::Result<> run() override {
    onRun();
    return {};
  }
  std::chrono::nanoseconds now() const override { return now_; }
  std::chrono::nanoseconds systemUptime() const override { return now_; }

  /// The labels of the work that is posted from now on: `cause` and a number.
  void setCause(std::string cause);

  const std::deque<Queued>& queued() const { return queued_; }
  /// In the order in which it falls due.
  const std::vector<Delayed>& delayed() const { return delayed_; }

  /// Runs the piece of work that was queued first.
  void runNext();
  /// The label of the work that runs; empty outside of `runNext`.
  const std::string& running() const { return running_; }
  /// Queues a piece of delayed work, moving the clock to where it falls due unless it is later.
  void expire(std::size_t index);

  std::function<void()> onRun;

 private:
  std::deque<Queued> queued_;
  std::vector<Delayed> delayed_;
  std::chrono::nanoseconds now_ = std::chrono::hours(1);
  std::string running_;
  std::string cause_;
  int postedByCause_ = 0;
};

/// The label of delayed work once it is queued, and whether a label is one.
std::string labelOf(std::chrono::milliseconds delay);
bool isOfDelayedWork(std::string_view label);

}  // namespace parlen::explore
