#pragma once

#include <expected>
#include <string>
#include <string_view>
#include <utility>

#include "platform/error.h"

namespace parlen::qemu {

/// The domain of this host's own errors. All have code 1; their sentences tell them apart.
inline constexpr std::string_view errorDomain = "ParlenQemuErrorDomain";

/// An error to return. `sentence` starts in lower case and has no full stop.
inline std::unexpected<platform::PlatformError> error(std::string sentence) {
  return platform::error(errorDomain, 1, std::move(sentence));
}

/// What people are told when QEMU or qemu-img finds a guest's files locked.
inline constexpr const char* guestInUse = "the guest is in use by another process";

}  // namespace parlen::qemu
