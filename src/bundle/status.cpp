#include "bundle/status.h"

#include "bundle/settings.h"
#include "bundle/vm_bundle.h"
#include "events/error_code.h"
#include "events/event_stream.h"
#include "platform/platform.h"
#include "text/json_writer.h"

namespace parlen {
namespace {

text::JsonObject report(const VMBundle& bundle) {
  const platform::Files& files = platform::system().files();
  text::JsonObject members{
      {"type", "status"},
      {"bundle", bundle.root()},
      {"exists", bundle.exists()},
      {"disk", files.exists(bundle.disk())},
      {"auxiliaryStorage", files.exists(bundle.auxiliaryStorage())},
      {"hardwareModel", files.exists(bundle.hardwareModel())},
      {"machineIdentifier", files.exists(bundle.machineIdentifier())},
      {"guestConfig", files.exists(bundle.guestConfig())},
      {"supported", platform::host().capabilities().isSupported()},
  };
  if (const auto settings = loadSettings(bundle)) {
    members.emplace("macAddress", settings->macAddress);
    members.emplace("cpuCount", settings->cpuCount);
    members.emplace("memoryBytes", settings->memoryBytes);
    members.emplace("diskGb", settings->diskGb);
  }
  if (const auto length = files.length(bundle.disk())) members.emplace("diskBytes", *length);
  return members;
}

}  // namespace

void statusVM(std::string_view bundlePath) {
  // Sorted keys, so this is the one line whose type does not come first.
  const auto line = text::writeCompactSorted(report(VMBundle(bundlePath)));
  if (!line) die(errorCode::statusFailed, "could not encode the bundle's status");
  emit(*line);
  platform::system().process().exit(0);
}

}  // namespace parlen
