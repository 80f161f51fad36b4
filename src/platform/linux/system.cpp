#include "platform/linux/system.h"

#include <fcntl.h>
#include <unistd.h>

#include "platform/linux/poll_loop.h"
#include "platform/linux/posix_files.h"
#include "platform/linux/posix_process.h"
#include "platform/linux/posix_streams.h"
#include "platform/linux/ticket_queue.h"

namespace parlen::linux {
namespace {

// open takes the lowest free number, so going upwards fills each gap itself.
void openStandardDescriptors() {
  for (int descriptor = 0; descriptor <= 2; ++descriptor) {
    if (fcntl(descriptor, F_GETFD) >= 0) continue;
    // Where there is no /dev, anything that can be neither read nor written serves.
    if (open("/dev/null", O_RDWR) < 0) open("/", O_RDONLY | O_DIRECTORY);
  }
}

class ThisSystem final : public PosixSystem {
 public:
  platform::Files& files() override { return files_; }
  platform::StandardStreams& streams() override { return streams_; }
  platform::EventLoop& loop() override { return loop_; }
  platform::Process& process() override { return process_; }
  Loop& posixLoop() override { return loop_; }
  void reserveOutput() override { streams_.reserveOutput(); }

  std::unique_ptr<platform::SerialQueue> makeSerialQueue(std::string_view label) override {
    return std::make_unique<TicketQueue>(label);
  }

 private:
  PollLoop loop_;
  PosixFiles files_;
  PosixStreams streams_{StreamDescriptors{}, loop_};
  PosixProcess process_{loop_};
};

}  // namespace

std::unique_ptr<PosixSystem> makePosixSystem() {
  openStandardDescriptors();
  return std::make_unique<ThisSystem>();
}

}  // namespace parlen::linux
