#pragma once

#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <expected>

#include "platform/posix/descriptor.h"

namespace parlen::linux {

/// Two connected stream sockets, closed on exec.
struct SocketPair {
  posix::Descriptor ours;
  posix::Descriptor theirs;
};

/// The error is an errno value.
inline std::expected<SocketPair, int> makeSocketPair() {
  std::array<int, 2> ends{};
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
    return std::unexpected(errno);
  }
  return SocketPair{.ours = posix::Descriptor(ends[0]), .theirs = posix::Descriptor(ends[1])};
}

}  // namespace parlen::linux
