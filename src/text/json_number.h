#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

#include "text/json_value.h"

namespace parlen::text {

/// How many bytes at the front of `text` are a number as JSON writes it; 0 if none is there.
std::size_t jsonNumberLength(std::string_view text);

/// The value of a number as JSON writes it: exact if it is an integer of 64 bits, signed or
/// unsigned, else the nearest double. Nothing if the number is too large for a double.
std::optional<JsonValue> jsonNumber(std::string_view token);

}  // namespace parlen::text
