#include "platform/qemu/last_message.h"

#include <utility>

namespace parlen::qemu {
namespace {

constexpr std::size_t longestLine = 4096;  // the rest of a longer line is left out

std::string_view withoutPrefix(std::string_view line, std::string_view prefix) {
  return line.starts_with(prefix) ? line.substr(prefix.size()) : line;
}

}  // namespace

void LastMessage::add(std::string_view bytes) {
  for (const char byte : bytes) {
    if (byte == '\n' || byte == '\r') {
      endLine();
    } else if (line_.size() < longestLine) {
      line_ += byte;
    }
  }
}

std::string LastMessage::text() const {
  LastMessage complete = *this;
  complete.endLine();
  const std::string_view last = withoutPrefix(complete.last_, prefix_);
  const bool isHint = last.size() == complete.last_.size();
  const std::string_view previous = withoutPrefix(complete.previous_, prefix_);
  const bool isError =
      previous.size() < complete.previous_.size() && !previous.starts_with("warning: ");
  if (!isHint || !isError) return std::string(last);
  return std::string(previous).append(" ").append(last);
}

void LastMessage::endLine() {
  if (line_.empty()) return;
  previous_ = std::exchange(last_, std::exchange(line_, {}));
}

}  // namespace parlen::qemu
