#pragma once

#include <string_view>

namespace parlen::text {

/// The first extended grapheme cluster (user-perceived character) of `text`, by the rules of
/// Unicode 15.0, UAX #29. Empty only if `text` is. Bytes that are not UTF-8 are treated as U+FFFD.
std::string_view nextGrapheme(std::string_view text);

}  // namespace parlen::text
