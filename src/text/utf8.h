#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace parlen::text {

inline constexpr char32_t replacementCharacter = 0xFFFD;

/// What stands at the front of some bytes.
struct DecodedCharacter {
  std::optional<char32_t> codePoint;  // nothing: the bytes are no character
  std::size_t length = 0;             // bytes taken, at least 1
};

/// The first character of `bytes`, which must not be empty. Well-formed are the sequences of the
/// Unicode standard alone: no surrogate, nothing longer than needed, nothing above U+10FFFF. What
/// is not well-formed is taken up to the first byte that could not continue it.
DecodedCharacter decodeFirst(std::string_view bytes);

/// How many bytes at the front of `bytes` are well-formed.
std::size_t validUtf8Length(std::string_view bytes);

bool isValidUtf8(std::string_view bytes);

/// `bytes` with each sequence that is not well-formed replaced by one U+FFFD.
std::string repairUtf8(std::string_view bytes);

/// Adds a character to `text`. `codePoint` must not be a surrogate nor exceed U+10FFFF.
void appendUtf8(std::string& text, char32_t codePoint);

}  // namespace parlen::text
