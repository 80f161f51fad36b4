#pragma once

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <optional>
#include <span>
#include <string_view>
#include <utility>

namespace parlen::posix {

/// Owns an open file descriptor; -1 is none.
class Descriptor {
 public:
  explicit Descriptor(int number = -1) : number_(number) {}
  ~Descriptor() { close(); }
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }

  int get() const { return number_; }
  explicit operator bool() const { return number_ >= 0; }
  int release() { return std::exchange(number_, -1); }

  /// Closes now. False: some file systems report only here that what was written is lost.
  bool close() { return number_ < 0 || ::close(std::exchange(number_, -1)) == 0; }

 private:
  int number_;
};

struct Pipe {
  Descriptor reading;
  Descriptor writing;
};

/// A new pipe, closed on exec; two empty descriptors if the system has none left.
Pipe makePipe();

/// Writes all of `bytes`, again after an interruption or a short write, and removes from `bytes`
/// what was written. Returns 0 or an errno value; EAGAIN if a non-blocking descriptor is full.
int writeAll(int descriptor, std::string_view& bytes);

/// How many bytes can be read from a pipe or a stream socket without waiting; 0 on an error.
std::size_t readableBytes(int descriptor);

/// Calls `readSome`, which returns how many bytes it has read, until all that could be read at the
/// time of this call has been, or it returns 0. Who writes on meanwhile does not hold it up.
template <class ReadSome>
void drain(int descriptor, ReadSome readSome) {
  std::size_t left = readableBytes(descriptor);
  while (left > 0) {
    const std::size_t count = readSome();
    if (count == 0) return;
    left -= std::min(left, count);
  }
}

/// Waits until at least one descriptor is ready for its `events` (POLLIN or POLLOUT) and sets the
/// `revents` of those that are. An end, an error and a number that is not open are readiness: the
/// next call on the descriptor returns them. The end of `timeout` or a signal handler that runs
/// ends the wait with none ready. Negative numbers are passed over.
void waitUntilReady(std::span<pollfd> waits,
                    std::optional<std::chrono::milliseconds> timeout = std::nullopt);

}  // namespace parlen::posix
