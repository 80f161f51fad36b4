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

/// Gives the owner write permission on everything under `path`. Errors are ignored: writing to what
/// is still read-only reports them.
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

/// Checked before any parent directory is created, which would change the source.
void refuseCopyInside(const VMBundle& source, const VMBundle& copy) {
  std::string nearest = parentOf(copy.root());
  while (!platform::system().files().exists(nearest) && nearest != "/") nearest = parentOf(nearest);
  if (liesIn(nearest, source.root())) {
    die(errorCode::cloneFailed, "could not copy " + source.root() + " to " + copy.root() +
                                    ": the destination lies inside of the source");
  }
}

/// Whether `member` is a link whose target is not part of the copy. Links are copied as links, so
/// the target may belong to the source.
bool leadsOutside(const VMBundle& copy, const std::string& member) {
  return platform::system().files().isSymbolicLink(member) && !liesIn(member, copy.root());
}

/// Where the disk or the auxiliary storage is such a link, two guests use one file.
void warnOfSharedFiles(const VMBundle& copy) {
  for (const std::string& member : {copy.disk(), copy.auxiliaryStorage()}) {
    if (leadsOutside(copy, member)) {
      warn(member + " is a link out of the bundle: the copy shares that file with its source");
    }
  }
}

/// Removes `member` if it is a link out of the copy, so that writing it leaves the target alone.
Result<> detach(const VMBundle& copy, const std::string& member) {
  if (leadsOutside(copy, member)) return platform::system().files().removeFile(member);
  return {};
}

VMSettings settingsForCopy(const VMBundle& copy, const platform::MacAddress& address) {
  // Without settings in the source the disk size is unknown, recorded as 0.
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
  // The configuration is the source guest's. A copy without one is no error.
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
