#include "platform/linux/event_loop.h"

#include <sys/eventfd.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <utility>

#include "platform/linux/error.h"

namespace parlen::linux {
namespace {

using std::chrono::nanoseconds;

// Longer than any run; adding it to the clock cannot overflow.
constexpr std::chrono::hours maxDelay{24 * 365 * 100};

nanoseconds readClock(clockid_t clock) {
  timespec time{};
  clock_gettime(clock, &time);
  return std::chrono::seconds(time.tv_sec) + nanoseconds(time.tv_nsec);
}

timespec toTimespec(nanoseconds duration) {
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(duration);
  return {.tv_sec = seconds.count(), .tv_nsec = (duration - seconds).count()};
}

}  // namespace

// Touches only what it shares with the loop, so that it may outlive the loop.
class EventLoop::Watch final : public DescriptorWatch {
 public:
  explicit Watch(std::shared_ptr<Watched> watched) : watched_(std::move(watched)) {}
  ~Watch() override { watched_->ended = true; }

 private:
  std::shared_ptr<Watched> watched_;
};

nanoseconds EventLoop::now() const { return readClock(CLOCK_BOOTTIME); }

nanoseconds EventLoop::systemUptime() const { return readClock(CLOCK_MONOTONIC); }

void EventLoop::post(platform::Work work) {
  const std::scoped_lock lock(mutex_);
  queue_.push_back(std::move(work));
  // One wake-up for each sleep is enough, so the counter never gets full.
  if (std::exchange(sleeping_, false)) eventfd_write(wake_.get(), 1);
}

void EventLoop::postDelayed(std::chrono::milliseconds delay, platform::Work work) {
  if (delay <= std::chrono::milliseconds::zero()) return post(std::move(work));
  const nanoseconds wait = std::min<std::chrono::milliseconds>(delay, maxDelay);
  delayed_.emplace(readClock(CLOCK_MONOTONIC) + wait, std::move(work));
}

std::unique_ptr<DescriptorWatch> EventLoop::watch(int descriptor, Readiness readiness,
                                                  platform::Work onReady) {
  const short events = readiness == Readiness::readable ? POLLIN : POLLOUT;
  watches_.push_back(std::make_shared<Watched>(Watched{descriptor, events, std::move(onReady)}));
  return std::make_unique<Watch>(watches_.back());
}

platform::Result<> EventLoop::run() {
  while (true) {
    if (auto waited = waitForSomething(); !waited) return waited;
    serve();
  }
}

void EventLoop::serve() {
  queueDueWork();
  std::unique_lock lock(mutex_);
  const std::size_t count = queue_.size();
  lock.unlock();
  runReadyWatches();
  runQueued(count);
  // Last, because drawing takes long and the queued work has been waiting.
  dispatchForeign();
}

platform::Result<> EventLoop::waitForSomething() {
  listWatches();
  const nanoseconds maxWait = prepareForeign();
  const auto mayWait = prepareToSleep();
  if (!mayWait) return std::unexpected(mayWait.error());
  polled_.front().fd = wake_.get();
  const timespec timeout =
      toTimespec(*mayWait ? std::min(timeUntilDue(), maxWait) : nanoseconds::zero());
  const int code = ppoll(polled_.data(), polled_.size(), &timeout, nullptr) < 0 ? errno : 0;
  {
    const std::scoped_lock lock(mutex_);
    sleeping_ = false;
  }
  if (code != 0) return afterFailedPoll(code);
  failedPolls_ = 0;
  eventfd_t count = 0;
  if (polled_.front().revents != 0) eventfd_read(wake_.get(), &count);
  return {};
}

/// Nothing is known to be ready; the next iteration asks again. An error if that is pointless.
platform::Result<> EventLoop::afterFailedPoll(int code) {
  for (pollfd& entry : polled_) entry.revents = 0;
  if (code == EINTR) return {};
  // A lack of memory may pass (poll(2)): five seconds are waited. A wait for nothing needs none.
  constexpr timespec pause{.tv_sec = 0, .tv_nsec = 10'000'000};
  constexpr int maxFailedPolls = 500;
  if (code != ENOMEM || ++failedPolls_ > maxFailedPolls) return error("wait for events", code);
  ppoll(nullptr, 0, &pause, nullptr);
  return {};
}

void EventLoop::listWatches() {
  std::erase_if(watches_, [](const auto& watched) { return watched->ended; });
  polled_.assign(1, {-1, POLLIN, 0});  // the wake, which may not be there yet
  for (const auto& watched : watches_) {
    polled_.push_back({watched->descriptor, watched->events, 0});
  }
  polledWatches_ = watches_.size();
}

nanoseconds EventLoop::prepareForeign() {
  prepared_ = foreign_;
  if (prepared_ == nullptr) return maxDelay;
  return std::min<nanoseconds>(prepared_->prepare(polled_), maxDelay);
}

void EventLoop::dispatchForeign() {
  // Work of this iteration may have ended the service.
  if (prepared_ == nullptr || prepared_ != foreign_) return;
  prepared_->dispatch(std::span(polled_).subspan(1 + polledWatches_));
}

/// Whether the loop may sleep: nothing is queued, and from now on a post wakes it.
platform::Result<bool> EventLoop::prepareToSleep() {
  const std::scoped_lock lock(mutex_);
  if (!queue_.empty()) return false;
  if (!wake_) wake_ = posix::Descriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  // Without it a post from another thread would never be noticed.
  if (!wake_) return error("wait for events", errno);
  sleeping_ = true;
  return true;
}

nanoseconds EventLoop::timeUntilDue() const {
  if (delayed_.empty()) return maxDelay;
  return std::max(delayed_.begin()->first - readClock(CLOCK_MONOTONIC), nanoseconds::zero());
}

void EventLoop::queueDueWork() {
  if (delayed_.empty()) return;
  const auto due = delayed_.upper_bound(readClock(CLOCK_MONOTONIC));
  const std::scoped_lock lock(mutex_);
  for (auto next = delayed_.begin(); next != due; next = delayed_.erase(next)) {
    queue_.push_back(std::move(next->second));
  }
}

void EventLoop::runReadyWatches() {
  // A callback may add watches, behind those that were polled, and end any.
  for (std::size_t i = 0; i < polledWatches_; ++i) {
    if (polled_[1 + i].revents == 0 || watches_[i]->ended) continue;
    const std::shared_ptr<Watched> watched = watches_[i];
    watched->onReady();
  }
}

void EventLoop::runQueued(std::size_t count) {
  for (; count > 0; --count) {
    std::unique_lock lock(mutex_);
    const platform::Work work = std::move(queue_.front());
    queue_.pop_front();
    lock.unlock();
    work();
  }
}

}  // namespace parlen::linux
