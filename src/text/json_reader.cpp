#include "text/json_reader.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "text/json_number.h"
#include "text/json_string.h"

namespace parlen::text {
namespace {

using ParsedValue = std::expected<JsonValue, JsonError>;
using ParsedText = std::expected<std::string, JsonError>;
using Parsed = std::expected<void, JsonError>;

/// A recursive-descent parser. Each function reads one construct and moves the position behind it.
class Reader {
 public:
  explicit Reader(std::string_view text) : text_(text) {}

  ParsedValue document() {
    ParsedValue result = value();
    if (!result) return result;
    skipWhiteSpace();
    if (!atEnd()) return fail("something follows the value");
    return result;
  }

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

  ParsedValue value();
  ParsedValue word(std::string_view word, JsonValue meaning);
  ParsedValue number();
  ParsedValue array();
  ParsedValue object();
  Parsed member(JsonObject& object);
  ParsedText string();

  std::string_view text_;
  std::size_t position_ = 0;
  int depth_ = 0;
};

ParsedValue Reader::value() {
  skipWhiteSpace();
  if (atEnd()) return fail("a value is missing");
  switch (text_[position_]) {
    case '[':
      return array();
    case '{':
      return object();
    case '"': {
      ParsedText text = string();
      if (!text) return std::unexpected(std::move(text.error()));
      return JsonValue(std::move(*text));
    }
    case 'n':
      return word("null", JsonValue());
    case 't':
      return word("true", true);
    case 'f':
      return word("false", false);
    default:
      return number();
  }
}

ParsedValue Reader::word(std::string_view word, JsonValue meaning) {
  if (!rest().starts_with(word)) return fail("a value is missing or malformed");
  position_ += word.size();
  return meaning;
}

ParsedValue Reader::number() {
  const std::size_t length = jsonNumberLength(rest());
  if (length == 0) return fail("a value is missing or malformed");
  std::optional<JsonValue> number = jsonNumber(text_.substr(position_, length));
  if (!number) return fail("a number is too large");
  position_ += length;
  return std::move(*number);
}

ParsedValue Reader::array() {
  if (depth_ == jsonDepthLimit) return fail("arrays and objects are nested too deeply");
  ++depth_;
  ++position_;
  JsonArray elements;
  skipWhiteSpace();
  while (!nextIs(']') || !elements.empty()) {
    ParsedValue element = value();
    if (!element) return element;
    elements.push_back(std::move(*element));
    skipWhiteSpace();
    if (nextIs(']')) break;
    if (!skip(',')) return fail("a comma or the end of an array is missing");
  }
  ++position_;
  --depth_;
  return JsonValue(std::move(elements));
}

ParsedValue Reader::object() {
  if (depth_ == jsonDepthLimit) return fail("arrays and objects are nested too deeply");
  ++depth_;
  ++position_;
  JsonObject members;
  skipWhiteSpace();
  while (!nextIs('}') || !members.empty()) {
    if (Parsed read = member(members); !read) return std::unexpected(std::move(read.error()));
    skipWhiteSpace();
    if (nextIs('}')) break;
    if (!skip(',')) return fail("a comma or the end of an object is missing");
  }
  ++position_;
  --depth_;
  return JsonValue(std::move(members));
}

Parsed Reader::member(JsonObject& object) {
  skipWhiteSpace();
  if (!nextIs('"')) return fail("the name of a member is missing");
  ParsedText key = string();
  if (!key) return std::unexpected(std::move(key.error()));
  skipWhiteSpace();
  if (!skip(':')) return fail("the colon after the name of a member is missing");
  ParsedValue content = value();
  if (!content) return std::unexpected(std::move(content.error()));
  object.insert_or_assign(std::move(*key), std::move(*content));
  return {};
}

ParsedText Reader::string() {
  std::expected<JsonString, JsonError> read = readJsonString(rest());
  if (!read) return failAt(position_ + read.error().offset, read.error().message);
  position_ += read->length;
  return std::move(read->content);
}

}  // namespace

std::expected<JsonValue, JsonError> parseJson(std::string_view text) {
  return Reader(text).document();
}

}  // namespace parlen::text
