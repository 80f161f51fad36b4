#pragma once

#import <Foundation/Foundation.h>

#include <expected>

#include "platform/error.h"

namespace parlen::macos {

/// Domain, code and localized description, each unchanged. An error that a framework did not give,
/// nil, becomes one without a domain.
platform::PlatformError toError(NSError* error);

/// A failure for the logic. Its sentence is the localized description alone; the causes that lie
/// under it go to `warn`, one line each. Main thread if `warn` is given.
std::unexpected<platform::PlatformError> failure(NSError* error,
                                                 const platform::WarningSink& warn = {});

}  // namespace parlen::macos
