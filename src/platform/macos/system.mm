#import "platform/macos/system.h"

#include <fcntl.h>

#import "platform/macos/files.h"
#import "platform/macos/process.h"
#import "platform/macos/queues.h"
#import "platform/macos/streams.h"

namespace parlen::macos {
namespace {

// open takes the lowest free number, so going upwards fills each gap itself.
void openStandardDescriptors() {
  for (int descriptor = 0; descriptor <= 2; ++descriptor) {
    if (fcntl(descriptor, F_GETFD) < 0) open("/dev/null", O_RDWR);
  }
}

class MacSystem final : public platform::System {
 public:
  platform::Files& files() override { return files_; }
  platform::StandardStreams& streams() override { return streams_; }
  platform::EventLoop& loop() override { return mainQueue_; }
  platform::Process& process() override { return process_; }
  std::unique_ptr<platform::SerialQueue> makeSerialQueue(std::string_view label) override {
    return macos::makeSerialQueue(label);
  }

 private:
  Files files_;
  Streams streams_;
  MainQueue mainQueue_;
  Process process_;
};

}  // namespace

std::unique_ptr<platform::System> makeSystem() {
  openStandardDescriptors();
  return std::make_unique<MacSystem>();
}

}  // namespace parlen::macos
