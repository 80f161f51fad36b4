#pragma once

#include <cstddef>
#include <expected>
#include <string>
#include <string_view>

namespace parlen::text {

/// Why a text is not JSON, as a sentence for people, and where.
struct JsonError {
  std::size_t offset = 0;  // byte offset of the problem
  std::string message;

  friend bool operator==(const JsonError&, const JsonError&) = default;
};

/// The message and its place: "a value is missing at byte 4".
inline std::string describe(const JsonError& error) {
  return error.message + " at byte " + std::to_string(error.offset);
}

/// For a function that returns JsonError: `return failAt(offset, message)`.
inline std::unexpected<JsonError> failAt(std::size_t offset, std::string_view message) {
  return std::unexpected(JsonError{offset, std::string(message)});
}

}  // namespace parlen::text
