#pragma once

#include <expected>
#include <span>
#include <string_view>

#include "text/json_error.h"
#include "text/json_value.h"

namespace parlen::text {

/// The maximum depth of nested arrays and objects.
inline constexpr int jsonDepthLimit = 512;

/// Parses a text that is one JSON value of any kind, with white space around it. Strict (RFC 8259):
/// UTF-8 without a byte order mark, no lone surrogates, no number too large for a double. If an
/// object has a key twice, the last one counts.
std::expected<JsonValue, JsonError> parseJson(std::string_view text);

/// Checks a text as parseJson does, with the same errors, but builds only what `names` names: these
/// members of an object at the top. One that is an array or an object is there as null; a text that
/// is no object is null itself. Takes at most as much memory as `text`, besides a constant amount.
std::expected<JsonValue, JsonError> parseJsonMembers(std::string_view text,
                                                     std::span<const std::string_view> names);

}  // namespace parlen::text
