#pragma once

#include "platform/host.h"

namespace parlen::macos {

class Capabilities final : public platform::HostCapabilities {
 public:
  bool isSupported() override;
  std::int64_t processorCount() override;
  platform::MachineLimits limits() override;
};

}  // namespace parlen::macos
