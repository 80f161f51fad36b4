#include "control/line_splitter.h"

namespace parlen {
namespace {

// A buffer that a long line has made larger than this is freed after that line.
constexpr std::size_t keptCapacity = 65'536;

}  // namespace

void LineSplitter::append(std::string_view chunk) {
  dropConsumed();
  buffer_.append(chunk);
}

std::optional<std::string_view> LineSplitter::next() {
  const std::size_t end = buffer_.find('\n', searched_);
  if (end == std::string::npos) {
    searched_ = buffer_.size();
    return std::nullopt;
  }
  const std::string_view line = std::string_view(buffer_).substr(start_, end - start_);
  start_ = searched_ = end + 1;
  return line;
}

void LineSplitter::dropConsumed() {
  if (start_ == 0) return;
  buffer_.erase(0, start_);
  searched_ -= start_;
  start_ = 0;
  if (buffer_.capacity() > keptCapacity) buffer_.shrink_to_fit();
}

}  // namespace parlen
