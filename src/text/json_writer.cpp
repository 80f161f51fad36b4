#include "text/json_writer.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "text/utf8.h"

namespace parlen::text {
namespace {

/// The letter of a character's two-character escape, or 0.
char escapeLetter(char character) {
  constexpr std::string_view characters = "\"\\/\n\r\t\b\f";
  constexpr std::string_view letters = "\"\\/nrtbf";
  const std::size_t index = characters.find(character);
  return index == std::string_view::npos ? '\0' : letters[index];
}

void appendEscaped(std::string& out, char character) {
  constexpr std::string_view digits = "0123456789abcdef";
  if (const char letter = escapeLetter(character); letter != '\0') {
    out += '\\';
    out += letter;
  } else if (const auto byte = static_cast<unsigned char>(character); byte < 0x20) {
    out += "\\u00";
    out += digits[byte / 16];
    out += digits[byte % 16];
  } else {
    out += character;
  }
}

/// The shortest form that parses to the same double; 17 digits always do.
std::string formatDouble(double value) {
  std::array<char, 32> buffer{};
  for (const int digits : {15, 16, 17}) {
    std::snprintf(buffer.data(), buffer.size(), "%.*g", digits, value);
    if (std::strtod(buffer.data(), nullptr) == value) break;
  }
  return buffer.data();
}

enum class Layout { compact, pretty };

class Writer {
 public:
  explicit Writer(Layout layout) : layout_(layout) {}

  bool write(const JsonValue& value);
  std::string take() { return std::move(out_); }

 private:
  bool writeString(std::string_view text);
  bool writeNumber(const JsonValue& value);
  bool writeArray(const JsonArray& array);
  bool writeObject(const JsonObject& object);
  bool pretty() const { return layout_ == Layout::pretty; }
  void open(char bracket) {
    out_ += bracket;
    ++depth_;
  }
  void close(char bracket) {
    --depth_;
    breakLine();
    out_ += bracket;
  }
  void separate(bool first) {
    if (!first) out_ += ',';
    breakLine();
  }
  void breakLine() {
    if (!pretty()) return;
    out_ += '\n';
    out_.append(2 * depth_, ' ');
  }

  Layout layout_;
  std::size_t depth_ = 0;
  std::string out_;
};

bool Writer::write(const JsonValue& value) {
  if (const JsonObject* object = value.asObject()) return writeObject(*object);
  if (const JsonArray* array = value.asArray()) return writeArray(*array);
  if (const std::string* text = value.asString()) return writeString(*text);
  if (value.asDouble()) return writeNumber(value);
  const std::optional<bool> boolean = value.asBoolean();
  out_ += boolean ? (*boolean ? "true" : "false") : "null";
  return true;
}

bool Writer::writeString(std::string_view text) {
  const std::optional<std::string> literal = quoteJson(text);
  if (literal) out_ += *literal;
  return literal.has_value();
}

bool Writer::writeNumber(const JsonValue& value) {
  if (const auto number = value.asInt64()) {
    out_ += std::to_string(*number);
  } else if (const auto large = value.asUInt64()) {
    out_ += std::to_string(*large);
  } else if (const auto real = value.asDouble(); real && std::isfinite(*real)) {
    out_ += formatDouble(*real);
  } else {
    return false;
  }
  return true;
}

bool Writer::writeArray(const JsonArray& array) {
  open('[');
  bool first = true;
  for (const JsonValue& element : array) {
    separate(std::exchange(first, false));
    if (!write(element)) return false;
  }
  close(']');
  return true;
}

bool Writer::writeObject(const JsonObject& object) {
  open('{');
  bool first = true;
  for (const auto& [key, value] : object) {
    separate(std::exchange(first, false));
    if (!writeString(key)) return false;
    out_ += pretty() ? " : " : ":";
    if (!write(value)) return false;
  }
  close('}');
  return true;
}

std::optional<std::string> writeWith(Layout layout, const JsonValue& value) {
  Writer writer(layout);
  if (!writer.write(value)) return std::nullopt;
  return writer.take();
}

}  // namespace

std::optional<std::string> quoteJson(std::string_view text) {
  if (!isValidUtf8(text)) return std::nullopt;
  std::string out;
  out.reserve(text.size() + 2);
  out += '"';
  for (const char character : text) appendEscaped(out, character);
  out += '"';
  return out;
}

std::optional<std::string> writeCompactSorted(const JsonValue& value) {
  return writeWith(Layout::compact, value);
}

std::optional<std::string> writePrettySorted(const JsonValue& value) {
  return writeWith(Layout::pretty, value);
}

}  // namespace parlen::text
