#pragma once

#include <string>
#include <string_view>

#include "platform/error.h"

namespace parlen::linux {

/// The domain of errors whose code is an errno value.
inline constexpr std::string_view errorDomain = "NSPOSIXErrorDomain";

/// What glibc calls an errno value in English: "No such file or directory".
std::string systemReason(int code);

/// "could not <attempt>: <reason>", with the system's own reason if none is given.
std::unexpected<platform::PlatformError> error(std::string_view attempt, int code);
std::unexpected<platform::PlatformError> error(std::string_view attempt, int code,
                                               std::string_view reason);

}  // namespace parlen::linux
