#include "text/json_string.h"

#include <array>
#include <optional>
#include <utility>

#include "text/utf8.h"

namespace parlen::text {
namespace {

using Parsed = std::expected<void, JsonError>;

struct Escape {
  char letter;
  char meaning;
};

constexpr std::array<Escape, 8> escapes{{
    {'"', '"'},
    {'\\', '\\'},
    {'/', '/'},
    {'b', '\b'},
    {'f', '\f'},
    {'n', '\n'},
    {'r', '\r'},
    {'t', '\t'},
}};

constexpr bool isHighSurrogate(char32_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
constexpr bool isLowSurrogate(char32_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

std::optional<char32_t> hexDigit(char digit) {
  constexpr std::string_view digits = "0123456789abcdef0123456789ABCDEF";
  const std::size_t index = digits.find(digit);
  if (index == std::string_view::npos) return std::nullopt;
  return static_cast<char32_t>(index % 16);
}

/// Each function reads one piece and moves the position behind it.
class StringReader {
 public:
  explicit StringReader(std::string_view text) : text_(text) {}

  std::expected<JsonString, JsonError> read();

 private:
  bool atEnd() const { return position_ == text_.size(); }

  std::unexpected<JsonError> fail(std::string_view message) const {
    return failAt(position_, message);
  }

  Parsed plainText(std::string& result);
  Parsed escape(std::string& result);
  std::expected<char32_t, JsonError> escapedCharacter();
  std::optional<char32_t> escapedUnit();

  std::string_view text_;
  std::size_t position_ = 0;
};

std::expected<JsonString, JsonError> StringReader::read() {
  position_ = 1;
  std::string result;
  while (true) {
    if (Parsed read = plainText(result); !read) return std::unexpected(std::move(read.error()));
    if (atEnd()) return failAt(0, "a string is not closed");
    if (text_[position_] == '"') return JsonString{std::move(result), position_ + 1};
    if (text_[position_] != '\\') return fail("a control character in a string is not escaped");
    if (Parsed read = escape(result); !read) return std::unexpected(std::move(read.error()));
  }
}

/// The characters up to the next quote, backslash or control character.
Parsed StringReader::plainText(std::string& result) {
  std::size_t end = position_;
  const auto isPlain = [](char character) {
    return static_cast<unsigned char>(character) >= 0x20 && character != '"' && character != '\\';
  };
  while (end < text_.size() && isPlain(text_[end])) ++end;
  const std::string_view run = text_.substr(position_, end - position_);
  const std::size_t valid = validUtf8Length(run);
  if (valid != run.size()) return failAt(position_ + valid, "a string is not valid UTF-8");
  result += run;
  position_ = end;
  return {};
}

Parsed StringReader::escape(std::string& result) {
  const std::string_view sequence = text_.substr(position_);
  if (sequence.size() > 1 && sequence[1] == 'u') {
    const std::expected<char32_t, JsonError> character = escapedCharacter();
    if (!character) return std::unexpected(character.error());
    appendUtf8(result, *character);
    return {};
  }
  for (const auto& [letter, meaning] : escapes) {
    if (sequence.size() < 2 || sequence[1] != letter) continue;
    result += meaning;
    position_ += 2;
    return {};
  }
  return fail("an escape in a string is unknown");
}

/// The escape of one UTF-16 unit, or the two of a surrogate pair.
std::expected<char32_t, JsonError> StringReader::escapedCharacter() {
  const std::size_t start = position_;
  const std::optional<char32_t> first = escapedUnit();
  if (!first) return failAt(start, "an escape in a string lacks its four hexadecimal digits");
  if (!isHighSurrogate(*first) && !isLowSurrogate(*first)) return *first;
  const std::optional<char32_t> second = isHighSurrogate(*first) ? escapedUnit() : std::nullopt;
  if (!second || !isLowSurrogate(*second)) {
    return failAt(start, "an escaped surrogate in a string stands alone");
  }
  return 0x10000 + ((*first - 0xD800) << 10) + (*second - 0xDC00);
}

/// The UTF-16 unit of the escape here: a backslash, "u" and four digits. nullopt if there is none.
std::optional<char32_t> StringReader::escapedUnit() {
  const std::string_view sequence = text_.substr(position_, 6);
  if (sequence.size() < 6 || !sequence.starts_with("\\u")) return std::nullopt;
  char32_t unit = 0;
  for (const char character : sequence.substr(2)) {
    const std::optional<char32_t> digit = hexDigit(character);
    if (!digit) return std::nullopt;
    unit = unit * 16 + *digit;
  }
  position_ += 6;
  return unit;
}

}  // namespace

std::expected<JsonString, JsonError> readJsonString(std::string_view text) {
  return StringReader(text).read();
}

}  // namespace parlen::text
