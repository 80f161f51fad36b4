#include "text/json_string.h"

#include <algorithm>
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

/// The length that the content of a literal has at most: that of what is between its quotes.
std::size_t maxContentLength(std::string_view text) {
  std::size_t end = 1;
  while (end < text.size() && text[end] != '"') end += text[end] == '\\' ? 2 : 1;
  return std::min(end, text.size()) - 1;
}

/// Each function reads one piece and moves the position behind it.
class StringReader {
 public:
  /// `content` gets what is decoded; null: the literal is only checked.
  StringReader(std::string_view text, std::string* content) : text_(text), content_(content) {}

  /// Returns the length of the literal.
  std::expected<std::size_t, JsonError> read();

 private:
  bool atEnd() const { return position_ == text_.size(); }

  std::unexpected<JsonError> fail(std::string_view message) const {
    return failAt(position_, message);
  }

  Parsed plainText();
  Parsed escape();
  std::expected<char32_t, JsonError> escapedCharacter();
  std::optional<char32_t> escapedUnit();

  std::string_view text_;
  std::string* content_;
  std::size_t position_ = 0;
};

std::expected<std::size_t, JsonError> StringReader::read() {
  position_ = 1;
  while (true) {
    if (Parsed read = plainText(); !read) return std::unexpected(std::move(read.error()));
    if (atEnd()) return failAt(0, "a string is not closed");
    if (text_[position_] == '"') return position_ + 1;
    if (text_[position_] != '\\') return fail("a control character in a string is not escaped");
    if (Parsed read = escape(); !read) return std::unexpected(std::move(read.error()));
  }
}

/// The characters up to the next quote, backslash or control character.
Parsed StringReader::plainText() {
  std::size_t end = position_;
  const auto isPlain = [](char character) {
    return static_cast<unsigned char>(character) >= 0x20 && character != '"' && character != '\\';
  };
  while (end < text_.size() && isPlain(text_[end])) ++end;
  const std::string_view run = text_.substr(position_, end - position_);
  const std::size_t valid = validUtf8Length(run);
  if (valid != run.size()) return failAt(position_ + valid, "a string is not valid UTF-8");
  if (content_ != nullptr) *content_ += run;
  position_ = end;
  return {};
}

Parsed StringReader::escape() {
  const std::string_view sequence = text_.substr(position_);
  if (sequence.size() > 1 && sequence[1] == 'u') {
    const std::expected<char32_t, JsonError> character = escapedCharacter();
    if (!character) return std::unexpected(character.error());
    if (content_ != nullptr) appendUtf8(*content_, *character);
    return {};
  }
  for (const auto& [letter, meaning] : escapes) {
    if (sequence.size() < 2 || sequence[1] != letter) continue;
    if (content_ != nullptr) *content_ += meaning;
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

std::expected<std::size_t, JsonError> readJsonString(std::string_view text, std::string* content) {
  if (content != nullptr) {
    content->clear();
    // A string that grows takes up to three times as much.
    content->reserve(maxContentLength(text));
  }
  return StringReader(text, content).read();
}

}  // namespace parlen::text
