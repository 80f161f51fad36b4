#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/linux/event_loop.h"
#include "platform/posix/process.h"

namespace parlen::linux {

/// This process.
class Process final : public posix::Process {
 public:
  explicit Process(EventLoop& loop) : loop_(loop) {}

  /// The newest source of a signal receives it. When a source is gone its signal stays caught,
  /// without effect; a program that is executed gets the default action back.
  platform::Result<std::unique_ptr<platform::SignalSource>> watchSignal(
      platform::TerminationSignal signal, platform::Work handler) override;
  /// A child that a signal ended has the status that shells give it: 128 and the signal's number.
  platform::Result<int> runAndWait(const std::string& program,
                                   const std::vector<std::string>& arguments) override;

 private:
  EventLoop& loop_;
};

}  // namespace parlen::linux
