#include "bundle/clone.h"

#include <array>
#include <string_view>

#include "bundle/directory.h"
#include "bundle/settings.h"
#include "bundle/vm_bundle.h"
#include "events/error_code.h"
#include "events/event_stream.h"
#include "platform/platform.h"

namespace parlen {
namespace {

using platform::Result;

/// The value, or the end of the process with the host's sentence.
void orDie(const Result<>& result) {
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

/// A run needs these two before all else. They are copied last, so that a copy that was cut off is
/// no guest, whatever it has of the disk.
Result<> copyMembers(const VMBundle& source, const VMBundle& copy) {
  constexpr std::array last = {VMBundle::machineIdentifierName, VMBundle::hardwareModelName};
  return platform::system().files().copyDirectory(source.root(), copy.root(), last);
}

/// Links are copied as links, so what a link leads to may belong to the source. Where the disk or
/// the auxiliary storage is such a link, two guests use one file.
void warnIfShared(const VMBundle& copy, const std::string& member, std::string_view consequence) {
  if (!platform::system().files().isSymbolicLink(member) || liesIn(member, copy.root())) return;
  warn(member + " is a link out of the bundle: the copy shares " + std::string(consequence));
}

void warnOfSharedMembers(const VMBundle& copy) {
  warnIfShared(copy, copy.disk(), "that file with its source");
  warnIfShared(copy, copy.auxiliaryStorage(), "that file with its source");
  warnIfShared(copy, copy.share(),
               "that directory with its source, and a parlen-vm.json stays in it");
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
  orDie(saveSettings(settings, copy, MemberFile::replaced));
}

void writeNewIdentifier(const VMBundle& copy) {
  const auto identifier = platform::host().identities().newMachineIdentifier();
  orDie(platform::system().files().replace(copy.machineIdentifier(),
                                           identifier->dataRepresentation()));
}

void resetShare(const VMBundle& copy) {
  platform::Files& files = platform::system().files();
  // The configuration is the source guest's. A copy without one is no error.
  if (liesIn(copy.share(), copy.root())) (void)files.remove(copy.guestConfig());
  orDie(files.createDirectories(copy.share()));
}

}  // namespace

void cloneVM(const std::string& from, const std::string& to, MachineIdChoice machineId) {
  const VMBundle source(from);
  const VMBundle copy(to);
  platform::system().process().failTooLongWrites();
  if (!source.exists()) die(errorCode::bundleMissing, "no VM bundle at " + from);
  refuseExisting(copy, to);

  refuseCopyInside(source, copy);
  const auto sourceLock = lockBundle(source, platform::LockKind::shared);
  if (!sourceLock) die(errorCode::cloneFailed, sourceLock.error().description);
  [[maybe_unused]] const BundleLock copyLock = createLocked(copy, to, errorCode::cloneFailed);
  orDie(copyMembers(source, copy));
  warnOfSharedMembers(copy);
  makeWritable(copy.root());
  const platform::MacAddress address = platform::host().identities().randomMacAddress();
  writeNewSettings(copy, address);
  if (machineId == MachineIdChoice::regenerate) writeNewIdentifier(copy);
  resetShare(copy);

  exitAfterReport(emitCloned(source.root(), copy.root(), address, machineId));
}

}  // namespace parlen
