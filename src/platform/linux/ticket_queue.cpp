#include "platform/linux/ticket_queue.h"

namespace parlen::linux {
namespace {

template <class Action>
class AtScopeEnd {
 public:
  explicit AtScopeEnd(Action action) : action_(action) {}
  ~AtScopeEnd() { action_(); }
  AtScopeEnd(const AtScopeEnd&) = delete;
  AtScopeEnd& operator=(const AtScopeEnd&) = delete;

 private:
  Action action_;
};

}  // namespace

void TicketQueue::sync(const platform::Work& work) {
  std::unique_lock lock(mutex_);
  const std::uint64_t ticket = nextTicket_++;
  ticketServed_.wait(lock, [&] { return served_ == ticket; });
  lock.unlock();
  const AtScopeEnd markServed([this] {
    const std::scoped_lock relock(mutex_);
    ++served_;
    ticketServed_.notify_all();
  });
  work();
}

}  // namespace parlen::linux
