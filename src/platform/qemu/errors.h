#pragma once

#include <expected>
#include <string>
#include <string_view>

#include "platform/error.h"

namespace parlen::qemu {

/// The domain of this host's own errors; its sentences tell them apart, its codes do not.
inline constexpr std::string_view errorDomain = "ParlenQemuErrorDomain";

/// An error with this complete sentence, which is lower-case and has no final full stop.
std::unexpected<platform::PlatformError> refusal(std::string sentence);

}  // namespace parlen::qemu
