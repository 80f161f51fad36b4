#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "text/json_value.h"

namespace parlen::text {

// Each writer returns nullopt if a string is not valid UTF-8 or a number is not finite. Members are
// sorted by the bytes of their keys. Slashes in strings are escaped.

/// The string literal for `text`, with its quotes.
std::optional<std::string> quoteJson(std::string_view text);

/// One line without spaces and without a line feed.
std::optional<std::string> writeCompactSorted(const JsonValue& value);

/// Every member on a line of its own, indented by two spaces a level, the colon between spaces; no
/// line feed at the end.
std::optional<std::string> writePrettySorted(const JsonValue& value);

}  // namespace parlen::text
