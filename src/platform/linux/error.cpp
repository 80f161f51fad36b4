#include "platform/linux/error.h"

#include <cstring>

namespace parlen::linux {

std::string systemReason(int code) {
  // Not strerror: it may translate, and it shares a buffer among threads.
  const char* text = strerrordesc_np(code);
  return text != nullptr ? text : "error " + std::to_string(code);
}

std::unexpected<platform::PlatformError> failure(std::string_view attempt, int code) {
  return failure(attempt, code, systemReason(code));
}

std::unexpected<platform::PlatformError> failure(std::string_view attempt, int code,
                                                 std::string_view reason) {
  std::string description = "could not ";
  description.append(attempt).append(": ").append(reason);
  return std::unexpected(
      platform::PlatformError{std::string(errorDomain), code, std::move(description)});
}

}  // namespace parlen::linux
