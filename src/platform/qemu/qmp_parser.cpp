#include "platform/qemu/qmp_parser.h"

#include <utility>

#include "text/json_reader.h"

namespace parlen::qemu {
namespace {

std::optional<QmpMessage> parseMessage(std::string_view line) {
  const auto value = text::parseJson(line);
  if (!value) return std::nullopt;
  if (value->find("QMP") != nullptr) return QmpGreeting{};

  const text::JsonValue* idMember = value->find("id");
  const auto id = idMember != nullptr ? idMember->asInt64() : std::nullopt;
  if (value->find("return") != nullptr) return QmpReply{.id = id, .error = std::nullopt};
  if (const text::JsonValue* error = value->find("error")) {
    const text::JsonValue* sentence = error->find("desc");
    const bool isText = sentence != nullptr && sentence->asString() != nullptr;
    return QmpReply{.id = id, .error = isText ? *sentence->asString() : "unknown error"};
  }

  const text::JsonValue* event = value->find("event");
  if (event == nullptr || event->asString() == nullptr) return std::nullopt;
  const text::JsonValue* data = value->find("data");
  return QmpEvent{.name = *event->asString(), .data = data != nullptr ? *data : text::JsonValue()};
}

}  // namespace

std::string QmpEvent::textOf(std::string_view member) const {
  const text::JsonValue* value = data.find(member);
  return value != nullptr && value->asString() != nullptr ? *value->asString() : std::string();
}

bool QmpEvent::isTrue(std::string_view member) const {
  const text::JsonValue* value = data.find(member);
  return value != nullptr && value->asBoolean().value_or(false);
}

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
