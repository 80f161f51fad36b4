#include "platform/linux/posix_streams.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace parlen::linux {
namespace {

// What to do about the errno of a failed write. Waiting for a reader keeps every byte, also on a
// pipe that somebody who shares it has made non-blocking.
bool canGoOn(int descriptor, int code) {
  if (code == EINTR) return true;
  if (code != EAGAIN) return false;
  pollfd writable{descriptor, POLLOUT, 0};
  poll(&writable, 1, -1);
  return true;
}

}  // namespace

void PosixStreams::writeOutput(std::string_view bytes) { write(descriptors_.output, bytes); }

void PosixStreams::writeError(std::string_view bytes) { write(descriptors_.error, bytes); }

void PosixStreams::write(int descriptor, std::string_view bytes) {
  writes_.begin();
  while (!bytes.empty()) {
    const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
    if (written > 0) {
      bytes.remove_prefix(static_cast<std::size_t>(written));
    } else if (written == 0 || !canGoOn(descriptor, errno)) {
      break;
    }
  }
  writes_.end();
}

void PosixStreams::reserveOutput() {
  if (reserved_) return;
  constexpr int firstFree = 3;  // below are the standard numbers, which any library may write to
  Descriptor output(fcntl(descriptors_.output, F_DUPFD_CLOEXEC, firstFree));
  // Without a free number everything stays as it was.
  if (!output || dup2(descriptors_.error, descriptors_.output) < 0) return;
  descriptors_.output = output.get();
  reserved_ = std::move(output);
}

void PosixStreams::readInput(InputHandler handler) {
  reader_ = std::make_unique<InputReader>(descriptors_.input, loop_, writes_, std::move(handler));
}

}  // namespace parlen::linux
