#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

#include "text/json_value.h"

namespace parlen::text {

/// The length of the JSON number at the start of `text`, in bytes; 0 if there is none.
std::size_t jsonNumberLength(std::string_view text);

/// The value of a JSON number: exact if it is an integer of 64 bits, signed or unsigned, else the
/// nearest double. nullopt if it is too large for a double.
std::optional<JsonValue> jsonNumber(std::string_view token);

}  // namespace parlen::text
