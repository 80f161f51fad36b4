#include "bundle/directory.h"

#include <string>

#include "events/error_code.h"
#include "events/event_stream.h"
#include "platform/platform.h"

namespace parlen {

void refuseExisting(const VMBundle& bundle, std::string_view typed) {
  if (!bundle.exists()) return;
  die(errorCode::bundleExists, std::string(typed) + " already exists — VMs are pets, not cattle");
}

void createDirectory(const VMBundle& bundle, std::string_view typed, std::string_view code) {
  platform::Files& files = platform::system().files();
  if (const auto parent = files.createDirectories(parentOf(bundle.root())); !parent) {
    die(code, parent.error().description);
  }
  if (const auto created = files.createDirectory(bundle.root()); !created) {
    refuseExisting(bundle, typed);
    die(code, created.error().description);
  }
}

}  // namespace parlen
