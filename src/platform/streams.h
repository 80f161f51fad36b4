#pragma once

#include <functional>
#include <string_view>

namespace parlen::platform {

/// The three standard streams. Nothing is buffered: when a write returns, the reader has the bytes.
class StandardStreams {
 public:
  virtual ~StandardStreams() = default;

  /// Writes all of `bytes`, in one system call unless that is interrupted or writes less. Blocks
  /// while the reader does not read. A write error is ignored. Any thread.
  virtual void writeOutput(std::string_view bytes) = 0;
  /// Like `writeOutput`, to the standard error stream.
  virtual void writeError(std::string_view bytes) = 0;

  /// Receives some bytes of standard input; they are valid only during the call. An empty chunk is
  /// the end of the input.
  using InputHandler = std::function<void(std::string_view chunk)>;

  /// Starts reading standard input; called once, on the main thread. `onChunk` runs on the main
  /// queue, with the chunks in order and last, exactly once, with the end. Reading continues while
  /// the main thread blocks in a write.
  virtual void readInput(InputHandler onChunk) = 0;
};

}  // namespace parlen::platform
