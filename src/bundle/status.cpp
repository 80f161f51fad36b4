#include "bundle/status.h"

#include "bundle/settings.h"
#include "bundle/vm_bundle.h"
#include "events/error_code.h"
#include "events/event_stream.h"
#include "platform/platform.h"

namespace parlen {
namespace {

StatusReport examine(const VMBundle& bundle) {
  const platform::Files& files = platform::system().files();
  StatusReport report{
      .bundle = bundle.root(),
      .exists = bundle.exists(),
      .disk = files.exists(bundle.disk()),
      .auxiliaryStorage = files.exists(bundle.auxiliaryStorage()),
      .hardwareModel = files.exists(bundle.hardwareModel()),
      .machineIdentifier = files.exists(bundle.machineIdentifier()),
      .guestConfig = files.exists(bundle.guestConfig()),
      .supported = platform::host().capabilities().isSupported(),
  };
  if (const auto settings = loadSettings(bundle)) {
    report.macAddress = settings->macAddress;
    report.cpuCount = settings->cpuCount;
    report.memoryBytes = settings->memoryBytes;
    report.diskGb = settings->diskGb;
  }
  if (const auto length = files.length(bundle.disk())) report.diskBytes = *length;
  return report;
}

}  // namespace

void statusVM(std::string_view bundlePath) {
  const auto line = statusLine(examine(VMBundle(bundlePath)));
  if (!line) die(errorCode::statusFailed, "could not encode the bundle's status");
  exitAfterReport(emit(*line));
}

}  // namespace parlen
