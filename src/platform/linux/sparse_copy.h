#pragma once

#include <sys/stat.h>

namespace parlen::linux {

/// Copies the content of `source`, whose status is given, into the new, empty file `target`. Shares
/// the storage where the file system can; otherwise copies the data and leaves the holes. Never
/// allocates what the source has not. Returns 0 or an errno value.
int copyContent(int source, const struct stat& status, int target);

}  // namespace parlen::linux
