#include "platform/linux/inbox.h"

namespace parlen::linux {

bool Inbox::add(std::string_view bytes) {
  const std::scoped_lock lock(mutex_);
  waiting_.append(bytes);
  if (bytes.empty()) ended_ = true;
  return !std::exchange(drainQueued_, true);
}

bool Inbox::isFull() {
  const std::scoped_lock lock(mutex_);
  eventfd_t count = 0;
  if (adderWaits_ && !closed_) eventfd_read(wake_.get(), &count);
  adderWaits_ = waiting_.size() >= limit;
  return adderWaits_;
}

void Inbox::drain() {
  handled_.clear();
  std::unique_lock lock(mutex_);
  if (closed_) return;
  std::swap(handled_, waiting_);
  drainQueued_ = false;
  const bool ended = std::exchange(ended_, false);
  if (adderWaits_) eventfd_write(wake_.get(), 1);
  lock.unlock();
  if (!handled_.empty()) handler_(handled_);
  if (ended) handler_({});
  // The storage that an unusually long wait needed is given back.
  if (handled_.capacity() > 2 * limit) handled_ = std::string();
}

void Inbox::close() {
  const std::scoped_lock lock(mutex_);
  closed_ = true;
  eventfd_write(wake_.get(), 1);
}

bool Inbox::closed() {
  const std::scoped_lock lock(mutex_);
  return closed_;
}

}  // namespace parlen::linux
