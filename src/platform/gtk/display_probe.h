#pragma once

#include <chrono>
#include <memory>

#include "platform/posix/descriptor.h"

namespace parlen::gtk {

/// One attempt to reach the display server, on a thread of its own: GTK, and the libraries below
/// it, wait without limit for a server that accepts a connection and does not answer. The thread
/// and its connection stay for as long as the server is silent.
class DisplayProbe {
 public:
  /// Starts the attempt.
  DisplayProbe();

  /// Waits until the server has answered or cannot be reached, but not longer than `timeout`. A
  /// signal that the process catches ends the wait as well. False: not yet. Main thread.
  bool hasResult(std::chrono::milliseconds timeout) const;

 private:
  std::shared_ptr<const posix::Descriptor> result_;  // readable once there is one; null: no attempt
};

}  // namespace parlen::gtk
