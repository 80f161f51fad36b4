#include "platform/qemu/output_pipe.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <utility>

#include "platform/linux/error.h"

namespace parlen::qemu {

platform::Result<std::unique_ptr<OutputPipe>> OutputPipe::open(linux::Loop& loop, Sink sink) {
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) return linux::failure("make a pipe", errno);
  std::unique_ptr<OutputPipe> pipe(
      new OutputPipe(linux::Descriptor(ends[0]), linux::Descriptor(ends[1]), std::move(sink)));
  // Only this end: a child does not expect that its standard error refuses to wait.
  ::fcntl(pipe->ownEnd_.get(), F_SETFL, O_NONBLOCK);
  pipe->watch_ = loop.watch(pipe->ownEnd_.get(), linux::Readiness::readable,
                            [pipe = pipe.get()] { pipe->drain(); });
  return pipe;
}

OutputPipe::OutputPipe(linux::Descriptor ownEnd, linux::Descriptor childEnd, Sink sink)
    : ownEnd_(std::move(ownEnd)), childEnd_(std::move(childEnd)), sink_(std::move(sink)) {}

void OutputPipe::drain() {
  constexpr std::size_t chunk = 16384;
  std::array<char, chunk> buffer;
  while (watch_) {
    const ssize_t count = ::read(ownEnd_.get(), buffer.data(), buffer.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0 && errno == EAGAIN) return;
    if (count <= 0) {
      watch_.reset();
      return;
    }
    sink_({buffer.data(), static_cast<std::size_t>(count)});
  }
}

}  // namespace parlen::qemu
