#include "platform/posix/streams.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace parlen::posix {

// open takes the lowest free number, so going upwards fills each gap itself.
void openStandardDescriptors() {
  for (int descriptor = 0; descriptor <= 2; ++descriptor) {
    if (fcntl(descriptor, F_GETFD) >= 0) continue;
    // Where there is no /dev, anything that can be neither read nor written serves.
    if (open("/dev/null", O_RDWR) < 0) open("/", O_RDONLY | O_DIRECTORY);
  }
}

void Streams::writeOutput(std::string_view bytes) {
  writes_.begin();
  // Waiting for a reader keeps every byte, also on a pipe that another process has made
  // non-blocking. Any other error drops what is left.
  while (writeAll(descriptors_.output, bytes) == EAGAIN) {
    pollfd wait{descriptors_.output, POLLOUT, 0};
    waitUntilReady({&wait, 1});
  }
  writes_.end();
}

void Streams::writeError(std::string_view line) { error_.write(line); }

void Streams::reserveOutput() {
  if (reserved_) return;
  constexpr int firstFree = 3;  // below are the standard numbers, which any library may write to
  Descriptor output(fcntl(descriptors_.output, F_DUPFD_CLOEXEC, firstFree));
  // Without a free number everything stays as it was.
  if (!output || dup2(descriptors_.error, descriptors_.output) < 0) return;
  descriptors_.output = output.get();
  reserved_ = std::move(output);
}

void Streams::readInput(InputHandler handler) {
  reader_ = std::make_unique<InputReader>(descriptors_.input, loop_, writes_, std::move(handler));
}

}  // namespace parlen::posix
