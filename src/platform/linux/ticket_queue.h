#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>

#include "platform/event_loop.h"

namespace parlen::linux {

/// A serial queue without a thread: each caller takes a ticket and runs its work itself once the
/// tickets before it are served. A ticket whose work throws is served, too.
class TicketQueue final : public platform::SerialQueue {
 public:
  explicit TicketQueue(std::string_view label) : label_(label) {}
  void sync(const platform::Work& work) override;

 private:
  std::string label_;  // for debuggers
  std::mutex mutex_;
  std::condition_variable ticketServed_;
  std::uint64_t nextTicket_ = 0;  // guarded by mutex_
  std::uint64_t served_ = 0;      // guarded by mutex_
};

}  // namespace parlen::linux
