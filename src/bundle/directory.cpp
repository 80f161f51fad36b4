#include "bundle/directory.h"

#include <string>
#include <utility>

#include "events/error_code.h"
#include "events/event_stream.h"
#include "platform/platform.h"

namespace parlen {

platform::Result<BundleLock> lockBundle(const VMBundle& bundle, platform::LockKind kind) {
  auto lock = platform::system().files().lockDirectory(bundle.root(), kind);
  if (lock && *lock == nullptr) {
    return platform::error("ParlenBundleErrorDomain", 1, "the guest is in use by another process");
  }
  return lock;
}

void refuseExisting(const VMBundle& bundle, std::string_view typed) {
  if (!bundle.exists()) return;
  die(errorCode::bundleExists, std::string(typed) + " already exists — VMs are pets, not cattle");
}

BundleLock createLocked(const VMBundle& bundle, std::string_view typed, std::string_view code) {
  platform::Files& files = platform::system().files();
  if (const auto parent = files.createDirectories(parentOf(bundle.root())); !parent) {
    die(code, parent.error().description);
  }
  if (const auto created = files.createDirectory(bundle.root()); !created) {
    refuseExisting(bundle, typed);
    die(code, created.error().description);
  }
  auto lock = lockBundle(bundle, platform::LockKind::exclusive);
  if (!lock) die(code, lock.error().description);
  return *std::move(lock);
}

}  // namespace parlen
