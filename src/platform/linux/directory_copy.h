#pragma once

#include <span>
#include <string>
#include <string_view>

#include "platform/error.h"

namespace parlen::linux {

/// platform::Files::copyDirectory for paths without trailing slashes. Opens nothing but directories
/// and regular files. Needs two descriptors for each level of directories; meanwhile the process
/// may have as many as its hard limit allows.
platform::Result<> copyDirectoryTree(const std::string& from, const std::string& to,
                                     std::span<const std::string_view> last);

}  // namespace parlen::linux
