#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace parlen::text {

inline constexpr char32_t replacementCharacter = 0xFFFD;

/// The result of decoding the start of some bytes.
struct DecodedCharacter {
  std::optional<char32_t> codePoint;  // nullopt: not well-formed
  std::size_t length = 0;             // bytes consumed, at least 1
};

/// Decodes the first character of `bytes`, which must not be empty. Well-formed means as the
/// Unicode Standard defines it (table 3-7): no surrogates, no overlong forms, nothing above
/// U+10FFFF. A sequence that is not well-formed is consumed up to the first byte that cannot
/// continue it.
DecodedCharacter decodeFirst(std::string_view bytes);

/// The length of the well-formed start of `bytes`.
std::size_t validUtf8Length(std::string_view bytes);

bool isValidUtf8(std::string_view bytes);

/// Whether `bytes` have a control character (Unicode's category Cc) or are not well-formed: a line
/// for people with such a text could look like two lines, or change what a terminal shows.
bool hasControlCharacter(std::string_view bytes);

/// `bytes` with each sequence that is not well-formed replaced by one U+FFFD.
std::string repairUtf8(std::string_view bytes);

/// Appends a character to `text`. `codePoint` must be neither a surrogate nor above U+10FFFF.
void appendUtf8(std::string& text, char32_t codePoint);

}  // namespace parlen::text
