#include "platform/posix/streams.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
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

bool Streams::writeOutput(std::string_view bytes) {
  int code = 0;
  writes_.begin();
  // Waiting for a reader keeps every byte, also on a pipe that another process has made
  // non-blocking. Any other error drops what is left.
  while ((code = writeAll(descriptors_.output, bytes)) == EAGAIN) {
    pollfd wait{descriptors_.output, POLLOUT, 0};
    waitUntilReady({&wait, 1});
  }
  writes_.end();
  return code == 0;
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

platform::Result<> Streams::readInput(InputHandler handler) {
  reader_ = std::make_unique<InputReader>(descriptors_.input, loop_, writes_, std::move(handler));
  const int code = reader_->start();
  if (code == 0) return {};
  // The domain of errno values. Source: NSPOSIXErrorDomain of Foundation.
  return platform::error("NSPOSIXErrorDomain", code,
                         "could not read standard input: " + std::generic_category().message(code));
}

}  // namespace parlen::posix
