#pragma once

#include <cstdint>
#include <expected>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

namespace parlen::platform {

/// A failure that the host reported: domain and code for programs, a sentence for people.
/// `description` says what was being done and why it failed; it is shown to the parent unchanged.
struct PlatformError {
  std::string domain;
  std::int64_t code = 0;
  std::string description;

  friend bool operator==(const PlatformError&, const PlatformError&) = default;
};

template <class Value = void>
using Result = std::expected<Value, PlatformError>;

/// An error to return. Each host binds `domain` to its own; `sentence` becomes the description.
inline std::unexpected<PlatformError> error(std::string_view domain, std::int64_t code,
                                            std::string sentence) {
  return std::unexpected(PlatformError{
      .domain = std::string(domain), .code = code, .description = std::move(sentence)});
}

/// Called exactly once with how an operation ended, never from inside the call that was given it.
using Completion = std::function<void(Result<>)>;

/// A sentence for people about something that does not end the run. Hosts are given one to call.
using WarningSink = std::function<void(std::string_view)>;

/// The domain of the virtualization framework's own errors, and its code for one machine too many.
inline constexpr std::string_view virtualizationErrorDomain = "VZErrorDomain";
inline constexpr std::int64_t virtualMachineLimitExceeded = 6;

}  // namespace parlen::platform
