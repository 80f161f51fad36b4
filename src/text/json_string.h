#pragma once

#include <cstddef>
#include <expected>
#include <string>
#include <string_view>

#include "text/json_error.h"

namespace parlen::text {

/// Reads the string literal at the start of `text`, which must begin with a quote, and returns its
/// length in bytes, quotes included. Its decoded content replaces `content`, which takes at most as
/// much memory as the literal; null: the literal is only checked. An error's offset counts from the
/// first quote.
std::expected<std::size_t, JsonError> readJsonString(std::string_view text, std::string* content);

}  // namespace parlen::text
