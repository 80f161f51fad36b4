#pragma once

#include <expected>
#include <memory>
#include <string>

#include "platform/files.h"

namespace parlen::posix {

/// platform::Files::lockDirectory with flock(2). The error is an errno value.
std::expected<std::unique_ptr<platform::DirectoryLock>, int> lockDirectory(const std::string& path,
                                                                           platform::LockKind kind);

}  // namespace parlen::posix
