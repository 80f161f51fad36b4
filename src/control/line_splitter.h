#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace parlen {

/// Splits a stream of bytes at its line feeds. The time for a line is linear in its length, however
/// many chunks it arrives in; memory is bounded by the largest line and chunk.
class LineSplitter {
 public:
  void append(std::string_view chunk);

  /// The next complete line without its line feed, valid until the next call; nothing if there is
  /// none.
  std::optional<std::string_view> next();

 private:
  void dropConsumed();

  std::string buffer_;
  std::size_t start_ = 0;     // start of the first line that has not been returned
  std::size_t searched_ = 0;  // no line feed between `start_` and here
};

}  // namespace parlen
