#pragma once

#include <chrono>
#include <cstddef>
#include <mutex>
#include <string>
#include <string_view>

#include "platform/posix/descriptor.h"

namespace parlen::posix {

/// Writes lines to standard error without holding the program up when nobody reads it. A line that
/// does not fit at once is dropped, whole; the next one that fits follows a line that says how many
/// were dropped. Any thread.
///
/// The flags of the descriptor are left alone: processes that share it expect it to block. Files
/// and other devices than terminals are written to as usual.
/// - Sockets take a flag with each call.
/// - Pipes and terminals are opened anew, non-blocking, where the system lets a process do so by
///   /proc.
/// - Elsewhere a pipe is looked at before each write, which has at most PIPE_BUF bytes: a pipe is
///   ready when it has room for them. Another process may take that room between the two calls,
///   and a terminal may have less; then the write waits.
class ErrorStream {
 public:
  /// `descriptor` is borrowed. A line of which only a part fits waits at most `timeout` for its
  /// reader to make room.
  explicit ErrorStream(int descriptor,
                       std::chrono::milliseconds timeout = std::chrono::milliseconds(100))
      : descriptor_(descriptor), timeout_(timeout) {}

  /// `line` ends with a line feed. What is left of it after the timeout goes ahead of the next line
  /// and is lost if there is none. An error other than missing room is ignored.
  void write(std::string_view line);

 private:
  enum class Kind { unknown, file, socket, nonBlocking, shared };

  void findKind();
  bool writeUnfinished();
  int writeWhatFits(std::string_view& bytes);
  ssize_t writeSome(std::string_view bytes) const;
  bool hasRoom(std::chrono::milliseconds timeout) const;

  int descriptor_;
  std::chrono::milliseconds timeout_;
  std::mutex mutex_;
  Kind kind_ = Kind::unknown;  // guarded by mutex_, as all below
  Descriptor own_;             // descriptor_'s pipe or terminal, opened anew
  std::string unfinished_;     // the rest of a line
  std::size_t dropped_ = 0;    // lines since the last one that was written
};

}  // namespace parlen::posix
