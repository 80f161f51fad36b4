#include "platform/qemu/capabilities.h"

#include <unistd.h>

#include <algorithm>

#include "platform/qemu/installation.h"

namespace parlen::qemu {
namespace {

std::uint64_t hostMemory() {
  const long pages = ::sysconf(_SC_PHYS_PAGES);
  const long pageSize = ::sysconf(_SC_PAGESIZE);
  if (pages <= 0 || pageSize <= 0) return 0;
  return static_cast<std::uint64_t>(pages) * static_cast<std::uint64_t>(pageSize);
}

}  // namespace

bool Capabilities::isSupported() {
  const GuestPlatform* platform = nativeGuestPlatform();
  return platform != nullptr && isInstalled(*platform);
}

std::int64_t Capabilities::processorCount() {
  return std::max(1L, ::sysconf(_SC_NPROCESSORS_ONLN));
}

platform::MachineLimits Capabilities::limits() { return limitsFor(processorCount(), hostMemory()); }

platform::MachineLimits limitsFor(std::int64_t processors, std::uint64_t memory) {
  constexpr std::int64_t leastMaximum = 2;  // what a guest gets by default, even on one processor
  constexpr std::int64_t greatestMaximum =
      255;  // more need an interrupt controller of another kind
  constexpr std::uint64_t minimumMemory = 128 * mebibyte;
  return {.minimumCPUCount = 1,
          .maximumCPUCount = std::clamp(processors, leastMaximum, greatestMaximum),
          .minimumMemorySize = minimumMemory,
          .maximumMemorySize = std::max(minimumMemory, memory / mebibyte * mebibyte)};
}

}  // namespace parlen::qemu
