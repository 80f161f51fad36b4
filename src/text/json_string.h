#pragma once

#include <cstddef>
#include <expected>
#include <string>
#include <string_view>

#include "text/json_error.h"

namespace parlen::text {

/// A string that was read, and how many bytes it took, quotes included.
struct JsonString {
  std::string content;
  std::size_t length = 0;
};

/// The string literal at the front of `text`, which begins with its opening quote. The offset of an
/// error counts from there.
std::expected<JsonString, JsonError> readJsonString(std::string_view text);

}  // namespace parlen::text
