#pragma once

#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <expected>
#include <utility>

namespace parlen::linux {

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

/// Two connected stream sockets, closed on exec.
struct SocketPair {
  Descriptor ours;
  Descriptor theirs;
};

/// The error is an errno value.
inline std::expected<SocketPair, int> makeSocketPair() {
  std::array<int, 2> ends{};
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
    return std::unexpected(errno);
  }
  return SocketPair{.ours = Descriptor(ends[0]), .theirs = Descriptor(ends[1])};
}

}  // namespace parlen::linux
