#pragma once

#include <cstdint>
#include <expected>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

namespace parlen::platform {

/// An error that a host reported. `domain` and `code` identify it to programs (as those of an
/// NSError do). `description` is a sentence for people: what was being done and why it failed; the
/// parent gets it unchanged.
struct PlatformError {
  std::string domain;
  std::int64_t code = 0;
  std::string description;

  friend bool operator==(const PlatformError&, const PlatformError&) = default;
};

/// What a call that can fail returns: its value or the error.
template <class Value = void>
using Result = std::expected<Value, PlatformError>;

/// Makes an error to return. Each host binds `domain` to its own; `sentence` becomes the
/// description.
inline std::unexpected<PlatformError> error(std::string_view domain, std::int64_t code,
                                            std::string sentence) {
  return std::unexpected(PlatformError{
      .domain = std::string(domain), .code = code, .description = std::move(sentence)});
}

/// Called exactly once, with the result of an asynchronous operation, and never from inside the
/// call that started it.
using Completion = std::function<void(Result<>)>;

/// Called by a host with a sentence for people about a problem that does not end the run. Main
/// thread.
using WarningSink = std::function<void(std::string_view)>;

/// The error of a start on a host that runs as many machines as it may.
/// Source: VZErrorDomain and VZErrorVirtualMachineLimitExceeded of the Virtualization framework.
inline constexpr std::string_view virtualizationErrorDomain = "VZErrorDomain";
inline constexpr std::int64_t virtualMachineLimitExceeded = 6;

}  // namespace parlen::platform
