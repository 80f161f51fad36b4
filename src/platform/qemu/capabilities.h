#pragma once

#include "platform/host.h"

namespace parlen::qemu {

class Capabilities : public platform::HostCapabilities {
 public:
  bool isSupported() override;
  std::int64_t processorCount() override;
  platform::MachineLimits limits() override;
};

/// The limits of a host with these resources.
platform::MachineLimits limitsFor(std::int64_t processors, std::uint64_t memory);

inline constexpr std::uint64_t mebibyte = 1024 * 1024;

}  // namespace parlen::qemu
