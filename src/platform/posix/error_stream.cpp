#include "platform/posix/error_stream.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

namespace parlen::posix {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

std::string dropReport(std::size_t dropped) {
  if (dropped == 0) return "";
  const bool one = dropped == 1;
  return "parlen-mac-vm: " + std::to_string(dropped) + (one ? " warning was" : " warnings were") +
         " dropped because nobody read " + (one ? "it" : "them") + "\n";
}

}  // namespace

void ErrorStream::write(std::string_view line) {
  const std::scoped_lock lock(mutex_);
  if (kind_ == Kind::unknown) findKind();
  if (!writeUnfinished()) {
    ++dropped_;
    return;
  }
  // In one piece, so that both are written or neither is. A line alone is not copied.
  std::string report = dropReport(dropped_);
  const std::string_view text = report.empty() ? line : report.append(line);
  std::string_view left = text;
  int error = writeWhatFits(left);
  if (error == EAGAIN && left.size() == text.size()) {
    ++dropped_;
    return;
  }
  dropped_ = 0;
  const auto deadline = steady_clock::now() + timeout_;
  while (error == EAGAIN) {
    const auto remaining = std::chrono::ceil<milliseconds>(deadline - steady_clock::now());
    if (remaining <= milliseconds(0)) break;
    if (hasRoom(remaining)) error = writeWhatFits(left);
  }
  if (error == EAGAIN) unfinished_ = left;
}

// A call for each line would open a terminal again and again.
void ErrorStream::findKind() {
  struct stat status{};
  const bool known = fstat(descriptor_, &status) == 0;
  kind_ = Kind::file;
  if (known && S_ISSOCK(status.st_mode)) kind_ = Kind::socket;
  if (!known || (!S_ISFIFO(status.st_mode) && isatty(descriptor_) == 0)) return;
  const std::string path = "/proc/self/fd/" + std::to_string(descriptor_);
  own_ = Descriptor(open(path.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  kind_ = own_ ? Kind::nonBlocking : Kind::shared;
}

bool ErrorStream::writeUnfinished() {
  std::string_view left = unfinished_;
  const bool isFull = writeWhatFits(left) == EAGAIN;
  unfinished_ = isFull ? std::string(left) : std::string();
  return !isFull;
}

/// Returns 0 or an errno value, EAGAIN if there is no room, and removes what was written.
int ErrorStream::writeWhatFits(std::string_view& bytes) {
  while (!bytes.empty()) {
    const ssize_t count = writeSome(bytes);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return errno;
    if (count == 0) return EIO;
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return 0;
}

ssize_t ErrorStream::writeSome(std::string_view bytes) const {
  switch (kind_) {
    case Kind::socket:
      return send(descriptor_, bytes.data(), bytes.size(), MSG_DONTWAIT);
    case Kind::nonBlocking:
      return ::write(own_.get(), bytes.data(), bytes.size());
    case Kind::shared:
      if (hasRoom(milliseconds(0))) {
        return ::write(descriptor_, bytes.data(), std::min<std::size_t>(bytes.size(), PIPE_BUF));
      }
      errno = EAGAIN;
      return -1;
    case Kind::unknown:
    case Kind::file:
      break;
  }
  return ::write(descriptor_, bytes.data(), bytes.size());
}

bool ErrorStream::hasRoom(milliseconds timeout) const {
  pollfd wait{descriptor_, POLLOUT, 0};
  waitUntilReady({&wait, 1}, timeout);
  return wait.revents != 0;
}

}  // namespace parlen::posix
