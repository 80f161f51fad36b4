#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "text/json_value.h"

namespace parlen::qemu {

/// The first message that QEMU sends; it then expects "qmp_capabilities" (QEMU docs/interop/
/// qmp-spec.txt, as all messages).
struct QmpGreeting {
  friend bool operator==(const QmpGreeting&, const QmpGreeting&) = default;
};

/// The result of a command.
struct QmpReply {
  std::optional<std::int64_t> id;    // the command's; absent if QEMU could not parse the command
  std::optional<std::string> error;  // QEMU's "desc"; absent if the command succeeded
  friend bool operator==(const QmpReply&, const QmpReply&) = default;
};

/// An asynchronous message.
struct QmpEvent {
  std::string name;
  text::JsonValue data;  // null if the event has none
  friend bool operator==(const QmpEvent&, const QmpEvent&) = default;
};

using QmpMessage = std::variant<QmpGreeting, QmpReply, QmpEvent>;

/// Splits QEMU's stream, in pieces of any length, into messages. A line that is no message, or is
/// longer than `maxLineLength`, is skipped.
class QmpParser {
 public:
  static constexpr std::size_t maxLineLength = 1024UL * 1024UL;

  /// The messages that `bytes` complete.
  std::vector<QmpMessage> add(std::string_view bytes);

 private:
  void addToLine(std::string_view bytes);

  std::string line_;      // the beginning of a line whose end has not arrived
  bool tooLong_ = false;  // that line is being skipped
};

}  // namespace parlen::qemu
