#include "explored_loop.h"

#include <algorithm>
#include <utility>

namespace parlen::explore {

void ExploredLoop::post(platform::Work work) {
  queued_.push_back({cause_ + "#" + std::to_string(postedByCause_++), std::move(work)});
}

void ExploredLoop::postDelayed(std::chrono::milliseconds delay, platform::Work work) {
  if (delay.count() <= 0) return post(std::move(work));
  const auto due = now_ + delay;
  const auto place = std::ranges::upper_bound(delayed_, due, {}, &Delayed::due);
  delayed_.insert(place, {delay, due, std::move(work)});
}

void ExploredLoop::setCause(std::string cause) {
  cause_ = std::move(cause);
  postedByCause_ = 0;
}

void ExploredLoop::runNext() {
  Queued next = std::move(queued_.front());
  queued_.pop_front();
  running_ = std::move(next.label);
  next.work();
  running_.clear();
}

void ExploredLoop::expire(std::size_t index) {
  Delayed expired = std::move(delayed_.at(index));
  delayed_.erase(delayed_.begin() + static_cast<std::ptrdiff_t>(index));
  now_ = std::max(now_, expired.due);
  queued_.push_back({labelOf(expired.delay), std::move(expired.work)});
}

std::string labelOf(std::chrono::milliseconds delay) {
  return "after " + std::to_string(delay.count()) + " ms";
}

bool isOfDelayedWork(std::string_view label) { return label.starts_with("after "); }

}  // namespace parlen::explore
