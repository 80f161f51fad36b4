#include "bundle/clone.h"

#include <optional>
#include <string_view>

#include "bundle/settings.h"
#include "bundle/vm_bundle.h"
#include "events/error_code.h"
#include "events/event_stream.h"
#include "platform/platform.h"

namespace parlen {
namespace {

using platform::Result;

/// The value, or the end of the process with the host's sentence.
void orDie(Result<> result) {
  if (!result) die(errorCode::cloneFailed, result.error().description);
}

/// Gives the owner write permission on everything under `path`, as far as possible: what stays
/// unwritable shows when it is written.
void makeWritable(const std::string& path) {
  (void)platform::system().process().runAndWait("/bin/chmod", {"-R", "u+w", path});
}

/// Whether `path` lies in `directory` once all links are followed, or is it.
bool liesIn(const std::string& path, const std::string& directory) {
  const platform::Files& files = platform::system().files();
  const auto inner = files.canonicalPath(path);
  const auto outer = files.canonicalPath(directory);
  return inner && outer && (*inner == *outer || inner->starts_with(*outer + "/"));
}

/// Creating even a parent of such a copy would change the source.
void refuseCopyInside(const VMBundle& source, const VMBundle& copy) {
  std::string nearest = parentOf(copy.root());
  while (!platform::system().files().exists(nearest) && nearest != "/") nearest = parentOf(nearest);
  if (liesIn(nearest, source.root())) {
    die(errorCode::cloneFailed, "could not copy " + source.root() + " to " + copy.root() +
                                    ": the destination lies inside of the source");
  }
}

/// The copy keeps the source's links, and what they lead to may be the source's own.
bool leadsOutside(const VMBundle& copy, const std::string& member) {
  return platform::system().files().isSymbolicLink(member) && !liesIn(member, copy.root());
}

/// A link that leads out of the copy means one file for two guests.
void warnOfSharedFiles(const VMBundle& copy) {
  for (const std::string& member : {copy.disk(), copy.auxiliaryStorage()}) {
    if (leadsOutside(copy, member)) {
      warn(member + " is a link out of the bundle: the copy shares that file with its source");
    }
  }
}

/// Prepares a member of the copy for new content, never that of a file that a link leads to
/// outside.
Result<> detach(const VMBundle& copy, const std::string& member) {
  if (leadsOutside(copy, member)) return platform::system().files().removeFile(member);
  return {};
}

VMSettings settingsForCopy(const VMBundle& copy, const platform::MacAddress& address) {
  // A clone of a bundle without settings has an unknown disk size, recorded as 0.
  VMSettings settings = loadSettings(copy).value_or(VMSettings{.macAddress = {},
                                                               .cpuCount = defaultCpuCount(),
                                                               .memoryBytes = defaultMemoryBytes(),
                                                               .diskGb = 0});
  settings.macAddress = platform::toString(address);
  return settings;
}

void writeNewSettings(const VMBundle& copy, const platform::MacAddress& address) {
  const VMSettings settings = settingsForCopy(copy, address);
  orDie(detach(copy, copy.settings()));
  orDie(saveSettings(settings, copy));
}

void writeNewIdentifier(const VMBundle& copy) {
  const auto identifier = platform::host().identities().newMachineIdentifier();
  orDie(detach(copy, copy.machineIdentifier()));
  orDie(
      platform::system().files().write(copy.machineIdentifier(), identifier->dataRepresentation()));
}

void resetShare(const VMBundle& copy) {
  platform::Files& files = platform::system().files();
  // The configuration is the source guest's; a copy without one is none that failed.
  if (liesIn(copy.share(), copy.root())) (void)files.removeFile(copy.guestConfig());
  orDie(files.createDirectories(copy.share()));
}

}  // namespace

void cloneVM(const std::string& from, const std::string& to, MachineIdChoice machineId) {
  platform::Files& files = platform::system().files();
  const VMBundle source(from);
  const VMBundle copy(to);
  if (!source.exists()) die(errorCode::bundleMissing, "no VM bundle at " + from);
  if (copy.exists()) {
    die(errorCode::bundleExists, to + " already exists — VMs are pets, not cattle");
  }

  refuseCopyInside(source, copy);
  orDie(files.createDirectories(parentOf(copy.root())));
  orDie(files.copyDirectory(source.root(), copy.root()));
  warnOfSharedFiles(copy);
  makeWritable(copy.root());
  const platform::MacAddress address = platform::host().identities().randomMacAddress();
  writeNewSettings(copy, address);
  if (machineId == MachineIdChoice::regenerate) writeNewIdentifier(copy);
  resetShare(copy);

  emitCloned(source.root(), copy.root(), address, machineId);
  platform::system().process().exit(0);
}

}  // namespace parlen
