#pragma once

#include "platform/linux/loop.h"
#include "platform/posix/process.h"

namespace parlen::linux {

/// This process.
class PosixProcess final : public posix::Process {
 public:
  explicit PosixProcess(Loop& loop) : loop_(loop) {}

  std::unique_ptr<platform::SignalSource> watchSignal(platform::TerminationSignal signal,
                                                      platform::Work handler) override;
  /// A child that a signal ended has the status that shells give it: 128 and the signal's number.
  platform::Result<int> runAndWait(const std::string& program,
                                   const std::vector<std::string>& arguments) override;

 private:
  Loop& loop_;
};

}  // namespace parlen::linux
