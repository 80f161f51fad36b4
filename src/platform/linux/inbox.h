#pragma once

#include <sys/eventfd.h>

#include <mutex>
#include <string>
#include <string_view>
#include <utility>

#include "platform/linux/descriptor.h"
#include "platform/streams.h"

namespace parlen::linux {

/// What has been read and not yet been handled: one thread adds, the main thread drains. Shared
/// with the drains that are still queued when the reader is gone.
class Inbox {
 public:
  /// The adder is to pause when this much waits.
  static constexpr std::size_t limit = 256 * 1024;

  explicit Inbox(platform::StandardStreams::InputHandler handler)
      : handler_(std::move(handler)), wake_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

  /// No bytes are the end. True: nothing was waiting, so a drain has to be queued.
  bool add(std::string_view bytes);

  /// Whether the adder has to wait for a drain; if so, the next one sets `wake`.
  bool isFull();

  /// Hands everything that waits to the handler. Main thread.
  void drain();

  /// From now on the handler is not called, and `wake` is set for good. Main thread.
  void close();

  /// Readable when there may be room again, or when the inbox was closed.
  int wake() const { return wake_.get(); }
  bool closed();

 private:
  platform::StandardStreams::InputHandler handler_;
  Descriptor wake_;
  std::string handled_;  // the main thread's, keeps its storage from drain to drain
  std::mutex mutex_;
  std::string waiting_;       // guarded by mutex_, as all below
  bool ended_ = false;        // the end waits too
  bool drainQueued_ = false;  // a drain will come without being asked for
  bool adderWaits_ = false;
  bool closed_ = false;
};

}  // namespace parlen::linux
