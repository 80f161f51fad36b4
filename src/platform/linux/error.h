#pragma once

#include <string>
#include <string_view>

#include "platform/error.h"

namespace parlen::linux {

/// The domain of errors whose code is an errno value.
inline constexpr std::string_view errorDomain = "NSPOSIXErrorDomain";

/// What the system says about an errno value: "No such file or directory".
std::string systemReason(int code);

/// "could not <attempt>: <reason>"; without a reason the system's own.
std::unexpected<platform::PlatformError> failure(std::string_view attempt, int code);
std::unexpected<platform::PlatformError> failure(std::string_view attempt, int code,
                                                 std::string_view reason);

}  // namespace parlen::linux
