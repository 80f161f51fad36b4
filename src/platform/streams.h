#pragma once

#include <functional>
#include <string_view>

#include "platform/error.h"

namespace parlen::platform {

/// The three standard streams. Nothing is buffered: when a write returns, the reader has what was
/// written.
class StandardStreams {
 public:
  virtual ~StandardStreams() = default;

  /// Writes all of `bytes`, in one system call unless that is interrupted or writes less. Blocks
  /// while the reader does not read. False: a write error has dropped some of it. Any thread.
  virtual bool writeOutput(std::string_view bytes) = 0;
  /// Writes one line, with its line feed, to standard error, and does not wait for its reader: a
  /// line that cannot be written at once is dropped, and the next one that can be comes after a
  /// line that says how many were dropped. No line is cut. Only a line that is too long for a pipe
  /// may wait, a tenth of a second at most; what its reader has not taken by then goes ahead of the
  /// next line. Three waits are left: for a file's device, and, where the system does not open the
  /// stream anew (macOS), for a pipe that another process fills at that very moment and for a
  /// terminal that is stopped. A write error is ignored. Any thread.
  virtual void writeError(std::string_view line) = 0;

  /// Receives some bytes of standard input; they are valid only during the call. An empty chunk is
  /// the end of the input.
  using InputHandler = std::function<void(std::string_view chunk)>;

  /// Starts reading standard input; called once, on the main thread. `onChunk` runs on the main
  /// queue, with the chunks in order and last, exactly once, with the end. Reading continues while
  /// the main thread blocks in a write to standard output. After an error, which means that the
  /// system lets this process have no thread or no descriptor, `onChunk` is never called.
  virtual Result<> readInput(InputHandler onChunk) = 0;
};

}  // namespace parlen::platform
