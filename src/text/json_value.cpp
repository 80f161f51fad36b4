#include "text/json_value.h"

#include <type_traits>

namespace parlen::text {

// A vector copies its elements when it grows if their move constructor may throw.
static_assert(std::is_nothrow_move_constructible_v<JsonValue>);

JsonValue::Content JsonValue::number(std::uint64_t value) {
  if (std::in_range<std::int64_t>(value)) return static_cast<std::int64_t>(value);
  return value;
}

std::optional<bool> JsonValue::asBoolean() const {
  if (const bool* value = std::get_if<bool>(&content_)) return *value;
  return std::nullopt;
}

std::optional<std::int64_t> JsonValue::asInt64() const {
  if (const auto* value = std::get_if<std::int64_t>(&content_)) return *value;
  return std::nullopt;
}

std::optional<std::uint64_t> JsonValue::asUInt64() const {
  if (const auto* value = std::get_if<std::uint64_t>(&content_)) return *value;
  const auto* value = std::get_if<std::int64_t>(&content_);
  if (value != nullptr && *value >= 0) return static_cast<std::uint64_t>(*value);
  return std::nullopt;
}

std::optional<double> JsonValue::asDouble() const {
  if (const auto* value = std::get_if<std::int64_t>(&content_)) return static_cast<double>(*value);
  if (const auto* value = std::get_if<std::uint64_t>(&content_)) return static_cast<double>(*value);
  if (const auto* value = std::get_if<double>(&content_)) return *value;
  return std::nullopt;
}

const JsonValue* JsonValue::find(std::string_view name) const {
  const JsonObject* object = asObject();
  if (object == nullptr) return nullptr;
  const auto member = object->find(name);
  return member == object->end() ? nullptr : &member->second;
}

std::optional<std::string_view> JsonValue::text(std::string_view name) const {
  const JsonValue* member = find(name);
  const std::string* text = member != nullptr ? member->asString() : nullptr;
  if (text == nullptr) return std::nullopt;
  return *text;
}

std::optional<std::int64_t> JsonValue::integer(std::string_view name) const {
  const JsonValue* member = find(name);
  return member != nullptr ? member->asInt64() : std::nullopt;
}

std::optional<std::uint64_t> JsonValue::unsignedInteger(std::string_view name) const {
  const JsonValue* member = find(name);
  return member != nullptr ? member->asUInt64() : std::nullopt;
}

std::optional<bool> JsonValue::boolean(std::string_view name) const {
  const JsonValue* member = find(name);
  return member != nullptr ? member->asBoolean() : std::nullopt;
}

}  // namespace parlen::text
