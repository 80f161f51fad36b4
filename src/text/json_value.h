#pragma once

#include <concepts>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace parlen::text {

class JsonValue;
using JsonArray = std::vector<JsonValue>;
using JsonObject = std::map<std::string, JsonValue, std::less<>>;

/// A JSON value. Each accessor returns nullopt or null if the value is of another kind.
class JsonValue {
 public:
  JsonValue() = default;  // null

  // Only a bool itself: a pointer must not convert to a boolean.
  JsonValue(std::same_as<bool> auto value) : content_(value) {}
  JsonValue(std::signed_integral auto value) : content_(static_cast<std::int64_t>(value)) {}
  JsonValue(std::unsigned_integral auto value)
    requires(!std::same_as<decltype(value), bool>)
      : content_(number(value)) {}
  /// A number that is not known to be integral; the integer accessors return nullopt for it.
  JsonValue(double value) : content_(value) {}
  JsonValue(std::string value) : content_(std::move(value)) {}
  JsonValue(std::string_view value) : content_(std::string(value)) {}
  JsonValue(const char* value) : content_(std::string(value)) {}
  JsonValue(JsonArray value) : content_(std::move(value)) {}
  JsonValue(JsonObject value) : content_(std::move(value)) {}

  bool isNull() const { return std::holds_alternative<std::monostate>(content_); }
  std::optional<bool> asBoolean() const;
  /// The number if it is integral and fits, however it was written: 100, 100.0 and 1e2 are 100.
  std::optional<std::int64_t> asInt64() const;
  std::optional<std::uint64_t> asUInt64() const;
  /// Any number, rounded to the nearest double.
  std::optional<double> asDouble() const;
  const std::string* asString() const { return std::get_if<std::string>(&content_); }
  const JsonArray* asArray() const { return std::get_if<JsonArray>(&content_); }
  const JsonObject* asObject() const { return std::get_if<JsonObject>(&content_); }

  /// The member `name` of an object; null if there is none or the value is no object.
  const JsonValue* find(std::string_view name) const;

  // The member `name` of an object as a value of one kind; nullopt if there is none, if it is of
  // another kind, or if this value is no object. A text is a view of the member.
  std::optional<std::string_view> text(std::string_view name) const;
  std::optional<std::int64_t> integer(std::string_view name) const;
  std::optional<std::uint64_t> unsignedInteger(std::string_view name) const;
  std::optional<bool> boolean(std::string_view name) const;

  friend bool operator==(const JsonValue&, const JsonValue&) = default;

 private:
  /// An integer has one representation: unsigned only if it is too large for the signed one.
  using Content = std::variant<std::monostate, bool, std::int64_t, std::uint64_t, double,
                               std::string, JsonArray, JsonObject>;
  static Content number(std::uint64_t value);

  Content content_;
};

}  // namespace parlen::text
