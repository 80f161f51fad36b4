#include "platform/linux/system.h"

#include "platform/linux/poll_loop.h"
#include "platform/linux/posix_files.h"
#include "platform/linux/posix_process.h"
#include "platform/linux/ticket_queue.h"
#include "platform/posix/streams.h"

namespace parlen::linux {
namespace {

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
  posix::Streams streams_{posix::StreamDescriptors{}, loop_};
  PosixProcess process_{loop_};
};

}  // namespace

std::unique_ptr<PosixSystem> makePosixSystem() {
  posix::openStandardDescriptors();
  return std::make_unique<ThisSystem>();
}

}  // namespace parlen::linux
