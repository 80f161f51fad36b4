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
  std::int64_t diskGb = 0;  // as asked for at creation; nothing checks the disk against it

  friend bool operator==(const VMSettings&, const VMSettings&) = default;
};

/// The bundle's settings, whole or not at all: a missing or damaged file is nothing, silently.
std::optional<VMSettings> loadSettings(const VMBundle& bundle);

/// Overwrites the bundle's settings file, plainly. A failure can leave a truncated file.
platform::Result<> saveSettings(const VMSettings& settings, const VMBundle& bundle);

/// Half of the host's processors, at least 2, within the host's limits; the maximum always wins.
std::int64_t defaultCpuCount();
/// 4 GiB, within the host's limits.
std::uint64_t defaultMemoryBytes();

}  // namespace parlen
