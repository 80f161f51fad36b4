#include "bundle/settings.h"

#include <algorithm>

#include "platform/platform.h"
#include "text/json_reader.h"
#include "text/json_writer.h"

namespace parlen {
namespace {

std::optional<VMSettings> decode(const text::JsonValue& json) {
  const auto macAddress = json.text("macAddress");
  const auto cpuCount = json.integer("cpuCount");
  const auto memoryBytes = json.unsignedInteger("memoryBytes");
  const auto diskGb = json.integer("diskGb");
  if (!macAddress || !cpuCount || !memoryBytes || !diskGb) return std::nullopt;
  return VMSettings{std::string(*macAddress), *cpuCount, *memoryBytes, *diskGb};
}

}  // namespace

std::optional<VMSettings> loadSettings(const VMBundle& bundle) {
  const auto bytes = platform::system().files().read(bundle.settings());
  if (!bytes) return std::nullopt;
  const auto json = text::parseJson(*bytes);
  if (!json) return std::nullopt;
  return decode(*json);
}

platform::Result<> saveSettings(const VMSettings& settings, const VMBundle& bundle,
                                MemberFile file) {
  const auto bytes =
      text::writePrettySorted(text::JsonObject{{"cpuCount", settings.cpuCount},
                                               {"diskGb", settings.diskGb},
                                               {"macAddress", settings.macAddress},
                                               {"memoryBytes", settings.memoryBytes}});
  if (!bytes) {
    return std::unexpected(platform::PlatformError{
        "ParlenSettingsErrorDomain", 1, "could not encode the settings: the address is not UTF-8"});
  }
  platform::Files& files = platform::system().files();
  return file == MemberFile::created ? files.create(bundle.settings(), *bytes)
                                     : files.replace(bundle.settings(), *bytes);
}

std::int64_t defaultCpuCount() {
  platform::HostCapabilities& host = platform::host().capabilities();
  const platform::MachineLimits limits = host.limits();
  constexpr std::int64_t minimum = 2;
  const std::int64_t half = host.processorCount() / 2;
  return std::min(std::max({half, limits.minimumCPUCount, minimum}), limits.maximumCPUCount);
}

std::uint64_t defaultMemoryBytes() {
  const platform::MachineLimits limits = platform::host().capabilities().limits();
  constexpr std::uint64_t fourGibibytes = std::uint64_t{4} << 30U;
  return std::min(std::max(fourGibibytes, limits.minimumMemorySize), limits.maximumMemorySize);
}

}  // namespace parlen
