#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace parlen {

/// Cuts a stream of bytes into the lines between its line feeds. A line costs time in its length,
/// however many chunks bring it; memory is bounded by the longest line.
class LineSplitter {
 public:
  void append(std::string_view chunk);

  /// The next complete line without its line feed, valid until the next call; nothing if there is
  /// none.
  std::optional<std::string_view> next();

 private:
  void dropConsumed();

  std::string buffer_;
  std::size_t start_ = 0;     // of the first line that has not been taken
  std::size_t searched_ = 0;  // before it there is no line feed from `start_` on
};

}  // namespace parlen
