#include "platform/linux/error.h"

#include <cstring>
#include <utility>

namespace parlen::linux {

std::string systemReason(int code) {
  // Not strerror: it may translate, and it shares a buffer among threads.
  const char* text = strerrordesc_np(code);
  return text != nullptr ? text : "error " + std::to_string(code);
}

std::unexpected<platform::PlatformError> error(std::string_view attempt, int code) {
  return error(attempt, code, systemReason(code));
}

std::unexpected<platform::PlatformError> error(std::string_view attempt, int code,
                                               std::string_view reason) {
  std::string sentence = "could not ";
  sentence.append(attempt).append(": ").append(reason);
  return platform::error(errorDomain, code, std::move(sentence));
}

}  // namespace parlen::linux
