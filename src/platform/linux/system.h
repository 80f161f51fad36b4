#pragma once

#include <memory>

#include "platform/linux/loop.h"
#include "platform/platform.h"

namespace parlen::linux {

/// The operating system's services on any POSIX system.
class PosixSystem : public platform::System {
 public:
  /// The same object as `loop()`, for those that watch descriptors.
  virtual Loop& posixLoop() = 0;

  /// Before code is loaded that may print: whatever it prints goes to standard error, and standard
  /// output is the tool's alone. Main thread.
  virtual void reserveOutput() = 0;
};

/// Makes sure that descriptors 0, 1 and 2 are open (on /dev/null if they were not), so that no file
/// that is opened later is ever taken for a standard stream. Nothing else happens until it is asked
/// for.
std::unique_ptr<PosixSystem> makePosixSystem();

}  // namespace parlen::linux
