#include "platform/posix/descriptor.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/select.h>

#include <algorithm>
#include <cerrno>

namespace parlen::posix {
namespace {

using Timeout = std::optional<std::chrono::milliseconds>;

timeval asTimeval(std::chrono::milliseconds timeout) {
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(timeout);
  const std::chrono::microseconds rest = timeout - seconds;
  timeval value{};
  value.tv_sec = static_cast<decltype(value.tv_sec)>(seconds.count());
  value.tv_usec = static_cast<decltype(value.tv_usec)>(rest.count());
  return value;
}

// select(2) of Linux blocks on numbers that are not open if they are above all that are.
bool findClosed(std::span<pollfd> waits) {
  bool found = false;
  for (pollfd& wait : waits) {
    if (wait.fd < 0 || fcntl(wait.fd, F_GETFD) >= 0) continue;
    wait.revents = POLLNVAL;
    found = true;
  }
  return found;
}

void waitBySelect(std::span<pollfd> waits, Timeout timeout) {
  if (findClosed(waits)) return;
  fd_set readable;
  fd_set writable;
  FD_ZERO(&readable);
  FD_ZERO(&writable);
  int highest = -1;
  for (const pollfd& wait : waits) {
    if (wait.fd < 0) continue;
    FD_SET(wait.fd, wait.events == POLLIN ? &readable : &writable);
    highest = std::max(highest, wait.fd);
  }
  timeval limit = asTimeval(timeout.value_or(std::chrono::milliseconds(0)));
  timeval* const noLaterThan = timeout ? &limit : nullptr;
  if (select(highest + 1, &readable, &writable, nullptr, noLaterThan) <= 0) return;
  for (pollfd& wait : waits) {
    if (wait.fd < 0) continue;
    const bool ready = FD_ISSET(wait.fd, wait.events == POLLIN ? &readable : &writable);
    if (ready) wait.revents = wait.events;
  }
}

}  // namespace

// Not pipe2, which macOS has not.
Pipe makePipe() {
  int ends[2];
  if (pipe(ends) != 0) return {Descriptor(), Descriptor()};
  for (const int end : ends) fcntl(end, F_SETFD, FD_CLOEXEC);
  return {Descriptor(ends[0]), Descriptor(ends[1])};
}

std::size_t readableBytes(int descriptor) {
  int count = 0;
  return ioctl(descriptor, FIONREAD, &count) == 0 ? static_cast<std::size_t>(count) : 0;
}

int writeAll(int descriptor, std::string_view& bytes) {
  while (!bytes.empty()) {
    const ssize_t count = write(descriptor, bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return errno;
    if (count == 0) return EIO;
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return 0;
}

// poll(2) of macOS is made of kqueue, which does not tell the end of a FIFO and does not know most
// devices. select(2) does, but takes no number from FD_SETSIZE on.
void waitUntilReady(std::span<pollfd> waits, Timeout timeout) {
  for (pollfd& wait : waits) wait.revents = 0;
  if (std::ranges::all_of(waits, [](const pollfd& wait) { return wait.fd < FD_SETSIZE; })) {
    waitBySelect(waits, timeout);
  } else if (const int limit = timeout ? static_cast<int>(timeout->count()) : -1;
             poll(waits.data(), static_cast<nfds_t>(waits.size()), limit) < 0) {
    for (pollfd& wait : waits) wait.revents = 0;
  }
}

}  // namespace parlen::posix
