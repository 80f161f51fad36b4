#include "platform/qemu/qmp_parser.h"

#include <utility>

#include "text/json_reader.h"

namespace parlen::qemu {
namespace {

std::optional<QmpMessage> parseMessage(std::string_view line) {
  const auto value = text::parseJson(line);
  if (!value) return std::nullopt;
  if (value->find("QMP") != nullptr) return QmpGreeting{};

  const auto id = value->integer("id");
  if (value->find("return") != nullptr) return QmpReply{.id = id, .error = std::nullopt};
  if (const text::JsonValue* error = value->find("error")) {
    return QmpReply{.id = id, .error = std::string(error->text("desc").value_or("unknown error"))};
  }

  const auto event = value->text("event");
  if (!event) return std::nullopt;
  const text::JsonValue* data = value->find("data");
  return QmpEvent{.name = std::string(*event), .data = data != nullptr ? *data : text::JsonValue()};
}

}  // namespace

std::vector<QmpMessage> QmpParser::add(std::string_view bytes) {
  std::vector<QmpMessage> messages;
  for (std::size_t end = bytes.find('\n'); end != std::string_view::npos; end = bytes.find('\n')) {
    addToLine(bytes.substr(0, end));
    bytes.remove_prefix(end + 1);
    if (!std::exchange(tooLong_, false)) {
      if (auto message = parseMessage(line_)) messages.push_back(*std::move(message));
    }
    line_.clear();
  }
  addToLine(bytes);
  return messages;
}

void QmpParser::addToLine(std::string_view bytes) {
  if (line_.size() + bytes.size() > maxLineLength) tooLong_ = true;
  if (tooLong_) {
    line_.clear();
  } else {
    line_.append(bytes);
  }
}

}  // namespace parlen::qemu
