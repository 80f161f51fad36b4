#pragma once

#include <sys/stat.h>

namespace parlen::linux {

/// Gives an open file or directory the owner, extended attributes, mode and times of another one,
/// whose status is given. The owner is given as far as the process may; attributes that the
/// target's file system or the process's rights do not allow are left out. Returns 0 or an errno
/// value.
int copyAttributes(int source, const struct stat& status, int target);

/// The same for a link or a special file `name` in `directory`, which is not opened or followed. Of
/// these only the system itself could have extended attributes; they are left out.
int copyAttributesAt(const struct stat& status, int directory, const char* name);

}  // namespace parlen::linux
