#include "support/virtual_loop.h"

#include <algorithm>
#include <utility>

namespace parlen::test {

void VirtualLoop::post(platform::Work work) {
  const std::lock_guard lock(mutex_);
  posted_.push_back(std::move(work));
}

void VirtualLoop::postDelayed(std::chrono::milliseconds delay, platform::Work work) {
  if (delay.count() <= 0) return post(std::move(work));
  delayed_.emplace(now_ + delay, std::move(work));
}

bool VirtualLoop::takePosted(platform::Work& work) {
  const std::lock_guard lock(mutex_);
  if (posted_.empty()) return false;
  work = std::move(posted_.front());
  posted_.pop_front();
  return true;
}

bool VirtualLoop::runOne() {
  platform::Work work;
  if (!takePosted(work)) {
    if (delayed_.empty()) return false;
    auto next = delayed_.extract(delayed_.begin());
    now_ = std::max(now_, next.key());
    work = std::move(next.mapped());
  }
  work();
  return true;
}

void VirtualLoop::runUntilIdle() {
  while (runOne()) {
  }
}

void VirtualLoop::run() {
  runUntilIdle();
  if (!returnsWhenIdle) throw LoopIdle{};
}

void VirtualLoop::advance(std::chrono::milliseconds duration) {
  const auto end = now_ + duration;
  for (platform::Work work;;) {
    if (takePosted(work)) {
      work();
    } else if (!delayed_.empty() && delayed_.begin()->first <= end) {
      runOne();
    } else {
      break;
    }
  }
  now_ = std::max(now_, end);
}

}  // namespace parlen::test
