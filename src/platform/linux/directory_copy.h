#pragma once

#include <string>

#include "platform/error.h"

namespace parlen::linux {

/// What platform::Files::copyDirectory promises. Nothing but directories and regular files is ever
/// opened. Needs two descriptors for each level of directories, and takes as many as it may.
platform::Result<> copyDirectoryTree(const std::string& from, const std::string& to);

}  // namespace parlen::linux
