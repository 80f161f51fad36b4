#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "text/json_value.h"

namespace parlen::qemu {

/// The first line that QEMU sends: it is there and waits to be told what the peer is able to do.
struct QmpGreeting {
  friend bool operator==(const QmpGreeting&, const QmpGreeting&) = default;
};

/// What became of a command.
struct QmpReply {
  std::optional<std::int64_t> id;    // the command's own; an unreadable command has none
  std::optional<std::string> error;  // QEMU's sentence; nothing: the command succeeded
  friend bool operator==(const QmpReply&, const QmpReply&) = default;
};

/// What happens to the machine without being asked for.
struct QmpEvent {
  std::string name;
  text::JsonValue data;  // null if the event has none

  /// A member of the data; empty if there is no such text, false if there is no such truth value.
  std::string textOf(std::string_view member) const;
  bool isTrue(std::string_view member) const;
  friend bool operator==(const QmpEvent&, const QmpEvent&) = default;
};

using QmpMessage = std::variant<QmpGreeting, QmpReply, QmpEvent>;

/// Cuts QEMU's stream into messages, in whatever pieces it arrives. A line that is no message, or
/// is longer than `longestLine`, is left out.
class QmpParser {
 public:
  static constexpr std::size_t longestLine = 1024UL * 1024UL;

  std::vector<QmpMessage> add(std::string_view bytes);

 private:
  void addToLine(std::string_view bytes);

  std::string line_;      // the beginning of a line whose end has not arrived
  bool tooLong_ = false;  // that line is being left out
};

}  // namespace parlen::qemu
