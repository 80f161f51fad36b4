#pragma once

#include <pthread.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "platform/event_loop.h"
#include "platform/posix/descriptor.h"
#include "platform/streams.h"

namespace parlen::posix {

/// Lets the reader see that a write to standard output has not returned yet. Any thread.
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

/// What has been read and not yet been handled: the reading thread adds, the main thread drains.
/// Owned by the reader and by the drains that are still queued when the reader is gone.
class Inbox {
 public:
  /// In bytes. The reading thread is to pause when this much waits.
  static constexpr std::size_t limit = 256 * 1024;

  /// This one handler is called for every chunk; it is never copied again.
  explicit Inbox(platform::StandardStreams::InputHandler handler) : handler_(std::move(handler)) {}

  /// Empty `bytes` are the end. True: nothing was waiting, so a drain has to be queued.
  bool add(std::string_view bytes);

  /// Waits at most `timeout` until less than the limit waits, or the inbox is closed. False: full.
  bool waitForRoom(std::chrono::milliseconds timeout);

  /// Hands everything that waits to the handler. Main thread.
  void drain();

  /// From now on the handler is not called. Main thread.
  void close();

 private:
  platform::StandardStreams::InputHandler handler_;
  std::string handled_;  // the main thread's, keeps its storage from drain to drain
  std::mutex mutex_;
  std::condition_variable hasRoom_;
  std::string waiting_;       // guarded by mutex_, as all below
  bool ended_ = false;        // the end waits too
  bool drainQueued_ = false;  // a drain will come without being asked for
  bool closed_ = false;
};

/// Reads a descriptor to its end on a thread of its own and hands the bytes to the loop's thread,
/// as many at once as there are. It stays at most a few hundred KiB ahead, except while the main
/// thread is stuck in a write: then the parent may be waiting for its own bytes to be taken before
/// it reads, and the reader goes on without a limit.
class InputReader {
 public:
  /// `writes` must outlive the reader.
  InputReader(int descriptor, platform::EventLoop& loop, const WriteActivity& writes,
              platform::StandardStreams::InputHandler handler);
  /// Starts to read, once; a read error counts as the end. Returns 0 or an errno value: then
  /// `handler` is never called.
  int start();
  /// Ends the reading; `handler` is not called again.
  ~InputReader();
  InputReader(const InputReader&) = delete;
  InputReader& operator=(const InputReader&) = delete;

 private:
  static void* threadMain(void* reader);
  int startThread();
  void readToEnd();
  void waitForRoom();
  bool waitForInput();
  bool mainIsStuck();
  void forward(std::string_view bytes);

  int descriptor_;
  platform::EventLoop& loop_;
  const WriteActivity& writes_;
  std::shared_ptr<Inbox> inbox_;
  Pipe ending_{Descriptor(), Descriptor()};  // readable once the reader is to end
  std::uint64_t seenWrite_ = 0;  // the thread's: the write under way when the inbox was last full
  std::optional<pthread_t> thread_;
};

}  // namespace parlen::posix
