#pragma once

#include <expected>
#include <string_view>

#include "text/json_error.h"
#include "text/json_value.h"

namespace parlen::text {

/// The max depth of nested arrays and objects.
inline constexpr int jsonDepthLimit = 512;

/// Reads a text that holds one JSON value, of any kind, and nothing else but white space.
/// Strict (RFC 8259): UTF-8 without a byte order mark, no lone surrogate, no number beyond a
/// double. Of a key that an object has twice, the last one counts.
std::expected<JsonValue, JsonError> parseJson(std::string_view text);

}  // namespace parlen::text
