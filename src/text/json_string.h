#pragma once

#include <cstddef>
#include <expected>
#include <string>
#include <string_view>

#include "text/json_error.h"

namespace parlen::text {

/// A decoded string, and the length of its literal in bytes, quotes included.
struct JsonString {
  std::string content;
  std::size_t length = 0;
};

/// Reads the string literal at the start of `text`, which must begin with a quote. An error's
/// offset counts from that quote.
std::expected<JsonString, JsonError> readJsonString(std::string_view text);

}  // namespace parlen::text
