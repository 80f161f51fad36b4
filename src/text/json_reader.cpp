#include "text/json_reader.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "text/json_number.h"
#include "text/json_string.h"

namespace parlen::text {
namespace {

using ParsedValue = std::expected<JsonValue, JsonError>;
using Parsed = std::expected<void, JsonError>;

/// A recursive-descent parser. Each function reads one construct and moves the position behind it.
/// A value goes to `result`; where that is null, it is checked and not built.
class Reader {
 public:
  explicit Reader(std::string_view text) : text_(text) {}

  ParsedValue document();
  ParsedValue documentMembers(std::span<const std::string_view> names);

 private:
  std::string_view rest() const { return text_.substr(position_); }
  bool atEnd() const { return position_ == text_.size(); }
  bool nextIs(char character) const { return !atEnd() && text_[position_] == character; }
  bool skip(char character) {
    if (!nextIs(character)) return false;
    ++position_;
    return true;
  }
  void skipWhiteSpace() {
    position_ = std::min(text_.find_first_not_of(" \t\n\r", position_), text_.size());
  }

  std::unexpected<JsonError> fail(std::string_view message) const {
    return failAt(position_, message);
  }

  Parsed end();
  Parsed value(JsonValue* result);
  Parsed scalar(JsonValue& result);
  Parsed word(std::string_view word, JsonValue meaning, JsonValue* result);
  Parsed number(JsonValue* result);
  Parsed string(JsonValue* result);
  Parsed array(JsonValue* result);
  Parsed object(JsonValue* result);
  template <class ReadValue>
  Parsed members(ReadValue readValue);
  Parsed key(std::string& name);
  Parsed literal(std::string* content);

  std::string_view text_;
  std::size_t position_ = 0;
  int depth_ = 0;
};

ParsedValue Reader::document() {
  JsonValue result;
  Parsed read = value(&result);
  if (read) read = end();
  if (!read) return std::unexpected(std::move(read.error()));
  return result;
}

ParsedValue Reader::documentMembers(std::span<const std::string_view> names) {
  JsonObject found;
  skipWhiteSpace();
  const bool isObject = nextIs('{');
  const auto readValue = [&](std::string key) {
    if (std::ranges::find(names, key) == names.end()) return value(nullptr);
    return scalar(found[std::move(key)]);
  };
  Parsed read = isObject ? members(readValue) : value(nullptr);
  if (read) read = end();
  if (!read) return std::unexpected(std::move(read.error()));
  return isObject ? JsonValue(std::move(found)) : JsonValue();
}

Parsed Reader::end() {
  skipWhiteSpace();
  if (!atEnd()) return fail("something follows the value");
  return {};
}

Parsed Reader::value(JsonValue* result) {
  skipWhiteSpace();
  if (atEnd()) return fail("a value is missing");
  switch (text_[position_]) {
    case '[':
      return array(result);
    case '{':
      return object(result);
    case '"':
      return string(result);
    case 'n':
      return word("null", JsonValue(), result);
    case 't':
      return word("true", true, result);
    case 'f':
      return word("false", false, result);
    default:
      return number(result);
  }
}

/// A value that is built only if it is neither an array nor an object, else null.
Parsed Reader::scalar(JsonValue& result) {
  result = JsonValue();  // the key may have had another value
  skipWhiteSpace();
  return value(nextIs('[') || nextIs('{') ? nullptr : &result);
}

Parsed Reader::word(std::string_view word, JsonValue meaning, JsonValue* result) {
  if (!rest().starts_with(word)) return fail("a value is missing or malformed");
  position_ += word.size();
  if (result != nullptr) *result = std::move(meaning);
  return {};
}

Parsed Reader::number(JsonValue* result) {
  const std::size_t length = jsonNumberLength(rest());
  if (length == 0) return fail("a value is missing or malformed");
  std::optional<JsonValue> number = jsonNumber(text_.substr(position_, length));
  if (!number) return fail("a number is too large");
  position_ += length;
  if (result != nullptr) *result = std::move(*number);
  return {};
}

Parsed Reader::string(JsonValue* result) {
  std::string content;
  Parsed read = literal(result != nullptr ? &content : nullptr);
  if (read && result != nullptr) *result = JsonValue(std::move(content));
  return read;
}

Parsed Reader::literal(std::string* content) {
  const std::expected<std::size_t, JsonError> length = readJsonString(rest(), content);
  if (!length) return failAt(position_ + length.error().offset, length.error().message);
  position_ += *length;
  return {};
}

Parsed Reader::array(JsonValue* result) {
  if (depth_ == jsonDepthLimit) return fail("arrays and objects are nested too deeply");
  ++depth_;
  ++position_;
  JsonArray elements;
  skipWhiteSpace();
  for (bool first = true; !first || !nextIs(']'); first = false) {
    JsonValue element;
    if (Parsed read = value(result != nullptr ? &element : nullptr); !read) return read;
    if (result != nullptr) elements.push_back(std::move(element));
    skipWhiteSpace();
    if (nextIs(']')) break;
    if (!skip(',')) return fail("a comma or the end of an array is missing");
  }
  ++position_;
  --depth_;
  if (result != nullptr) *result = JsonValue(std::move(elements));
  return {};
}

Parsed Reader::object(JsonValue* result) {
  JsonObject object;
  Parsed read = members([&](std::string key) {
    // A key that comes twice keeps its last value.
    return value(result != nullptr ? &object[std::move(key)] : nullptr);
  });
  if (read && result != nullptr) *result = JsonValue(std::move(object));
  return read;
}

/// Reads an object. Each value is read by `readValue`, a function of the key.
template <class ReadValue>
Parsed Reader::members(ReadValue readValue) {
  if (depth_ == jsonDepthLimit) return fail("arrays and objects are nested too deeply");
  ++depth_;
  ++position_;
  skipWhiteSpace();
  for (bool first = true; !first || !nextIs('}'); first = false) {
    std::string name;
    if (Parsed read = key(name); !read) return read;
    if (Parsed read = readValue(std::move(name)); !read) return read;
    skipWhiteSpace();
    if (nextIs('}')) break;
    if (!skip(',')) return fail("a comma or the end of an object is missing");
  }
  ++position_;
  --depth_;
  return {};
}

/// Reads a member's key and the colon behind it.
Parsed Reader::key(std::string& name) {
  skipWhiteSpace();
  if (!nextIs('"')) return fail("the name of a member is missing");
  if (Parsed read = literal(&name); !read) return read;
  skipWhiteSpace();
  if (!skip(':')) return fail("the colon after the name of a member is missing");
  return {};
}

}  // namespace

std::expected<JsonValue, JsonError> parseJson(std::string_view text) {
  return Reader(text).document();
}

std::expected<JsonValue, JsonError> parseJsonMembers(std::string_view text,
                                                     std::span<const std::string_view> names) {
  return Reader(text).documentMembers(names);
}

}  // namespace parlen::text
