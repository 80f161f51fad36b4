#include "platform/qemu/errors.h"

#include <utility>

namespace parlen::qemu {

std::unexpected<platform::PlatformError> refusal(std::string sentence) {
  return std::unexpected(platform::PlatformError{
      .domain = std::string(errorDomain), .code = 1, .description = std::move(sentence)});
}

}  // namespace parlen::qemu
