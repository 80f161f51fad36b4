#pragma once

#include <memory>
#include <string_view>

#include "bundle/vm_bundle.h"
#include "platform/error.h"
#include "platform/files.h"

namespace parlen {

/// Keeps other processes from using a bundle as long as it exists: a run and whatever writes the
/// bundle lock it exclusively, those that only read it share the lock.
using BundleLock = std::unique_ptr<platform::DirectoryLock>;

/// Locks the bundle, which exists. The error for one that another process has locked is the
/// sentence "the guest is in use by another process".
platform::Result<BundleLock> lockBundle(const VMBundle& bundle, platform::LockKind kind);

/// Ends the process with "bundle-exists" if a directory is at the bundle's path. `typed` is that
/// path as the user typed it.
void refuseExisting(const VMBundle& bundle, std::string_view typed);

/// Creates the directory of a new bundle, and its missing parents, and locks it exclusively. Ends
/// the process: with "bundle-exists" if anybody else has created it, otherwise with `code`.
BundleLock createLocked(const VMBundle& bundle, std::string_view typed, std::string_view code);

}  // namespace parlen
