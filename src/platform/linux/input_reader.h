#pragma once

#include <pthread.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>

#include "platform/event_loop.h"
#include "platform/linux/descriptor.h"
#include "platform/streams.h"

namespace parlen::linux {

/// Lets the reader see that a write to a standard stream has not returned yet.
class WriteActivity {
 public:
  void begin() { begun_.fetch_add(1); }
  void end() { ended_.fetch_add(1); }
  /// The number of the last write begun, 0 while none is under way.
  std::uint64_t current() const {
    const std::uint64_t ended = ended_.load();
    const std::uint64_t begun = begun_.load();
    return begun == ended ? 0 : begun;
  }

 private:
  std::atomic<std::uint64_t> begun_ = 0;
  std::atomic<std::uint64_t> ended_ = 0;
};

class Inbox;

/// Reads a descriptor to its end on a thread of its own and hands the bytes to the loop's thread,
/// as many at once as there are. It stays at most a few hundred KiB ahead, except while the main
/// thread is stuck in a write: then the parent may be waiting for its own bytes to be taken before
/// it reads, and the reader goes on without a limit.
class InputReader {
 public:
  /// `writes` must outlive the reader. A read error counts as the end.
  InputReader(int descriptor, platform::EventLoop& loop, const WriteActivity& writes,
              platform::StandardStreams::InputHandler handler);
  /// Ends the reading; `handler` is not called again.
  ~InputReader();
  InputReader(const InputReader&) = delete;
  InputReader& operator=(const InputReader&) = delete;

 private:
  static void* threadMain(void* reader);
  bool startThread();
  void readToEnd();
  bool waitForInput();
  bool mainIsStuck();
  void forward(std::string_view bytes);

  int descriptor_;
  platform::EventLoop& loop_;
  const WriteActivity& writes_;
  std::shared_ptr<Inbox> inbox_;
  std::uint64_t seenWrite_ = 0;  // the thread's: the write under way when the inbox was last full
  std::optional<pthread_t> thread_;
};

}  // namespace parlen::linux
