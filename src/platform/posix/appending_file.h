#pragma once

#include <expected>
#include <memory>
#include <string>

#include "platform/files.h"

namespace parlen::posix {

/// platform::Files::createForAppending. The error is an errno value.
std::expected<std::unique_ptr<platform::AppendingFile>, int> createForAppending(
    const std::string& path);

}  // namespace parlen::posix
