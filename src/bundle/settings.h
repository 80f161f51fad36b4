#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "bundle/vm_bundle.h"
#include "platform/error.h"

namespace parlen {

/// What a bundle keeps about its guest beside the host's opaque records.
struct VMSettings {
  std::string macAddress;  // six hexadecimal octets joined by colons
  std::int64_t cpuCount = 0;
  std::uint64_t memoryBytes = 0;
  std::int64_t diskGb = 0;  // as given at creation; never compared with the disk

  friend bool operator==(const VMSettings&, const VMSettings&) = default;
};

/// The bundle's settings; nothing, without a warning, if the file is missing or a member is missing
/// or of the wrong type. Other members are ignored.
std::optional<VMSettings> loadSettings(const VMBundle& bundle);

/// Whether a file is new in a bundle, or takes the place of what the bundle was copied with.
enum class MemberFile { created, replaced };

/// Writes the bundle's settings file, which must not exist if it is to be `created`. A failure can
/// leave a part of the file, or none.
platform::Result<> saveSettings(const VMSettings& settings, const VMBundle& bundle,
                                MemberFile file);

/// Half of the host's processors, at least 2 and the host's minimum, at most the host's maximum,
/// which wins.
std::int64_t defaultCpuCount();
/// 4 GiB, within the host's limits.
std::uint64_t defaultMemoryBytes();

}  // namespace parlen
