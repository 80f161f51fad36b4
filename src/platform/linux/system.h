#pragma once

#include <memory>
#include <string_view>

#include "platform/linux/event_loop.h"
#include "platform/linux/files.h"
#include "platform/linux/process.h"
#include "platform/platform.h"
#include "platform/posix/streams.h"

namespace parlen::linux {

/// The operating system's services. Making them opens nothing but missing standard descriptors.
class System final : public platform::System {
 public:
  System();

  Files& files() override { return files_; }
  posix::Streams& streams() override { return streams_; }
  EventLoop& loop() override { return loop_; }
  Process& process() override { return process_; }
  std::unique_ptr<platform::SerialQueue> makeSerialQueue(std::string_view label) override;

 private:
  EventLoop loop_;
  Files files_;
  posix::Streams streams_{posix::StreamDescriptors{}, loop_};
  Process process_{loop_};
};

}  // namespace parlen::linux
