#pragma once

#include <string_view>

namespace parlen::text {

/// The user-perceived character at the front of `text`: its first extended grapheme cluster, as
/// Unicode 15.0 divides text (UAX #29). Empty only if `text` is. Bytes that are not UTF-8 count as
/// U+FFFD does.
std::string_view nextGrapheme(std::string_view text);

}  // namespace parlen::text
