#pragma once

#import <Foundation/Foundation.h>

#include <string>
#include <string_view>

#include "platform/error.h"

namespace parlen::macos {

/// What is behind `path`, links followed: one of NSFileType's values. The error is Foundation's.
platform::Result<NSFileAttributeType> kindOf(const std::string& path);

/// An error unless a regular file is behind `path`.
platform::Result<> requireRegular(const std::string& path);

/// An error if what is behind `path` would block whoever opens it. Nothing there is no error.
platform::Result<> refuseFifo(const std::string& path);

/// An error of this host's own about the thing at `path`: "could not use /a/b: <reason>".
std::unexpected<platform::PlatformError> unfit(const std::string& path, int code,
                                               std::string_view reason);

}  // namespace parlen::macos
