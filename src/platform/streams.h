#pragma once

#include <functional>
#include <string_view>

namespace parlen::platform {

/// The three standard streams. Nothing is buffered: bytes are the reader's when the call returns.
class StandardStreams {
 public:
  virtual ~StandardStreams() = default;

  /// Writes all of `bytes` in one write, completed after an interruption or a short write. Blocks
  /// while the reader is behind. A failed write is dropped. Any thread.
  virtual void writeOutput(std::string_view bytes) = 0;
  virtual void writeError(std::string_view bytes) = 0;

  /// Receives a chunk of standard input, valid during the call only; an empty one is the end.
  using InputHandler = std::function<void(std::string_view chunk)>;

  /// Starts reading. The chunks arrive on the main queue, in order, and the end exactly once, last.
  /// Reading goes on while the main thread waits in a write. Called once.
  virtual void readInput(InputHandler handler) = 0;
};

}  // namespace parlen::platform
