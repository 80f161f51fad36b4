#import "platform/macos/capabilities.h"

#import <Virtualization/Virtualization.h>

namespace parlen::macos {

bool Capabilities::isSupported() { return VZVirtualMachine.isSupported; }

std::int64_t Capabilities::processorCount() {
  return static_cast<std::int64_t>(NSProcessInfo.processInfo.processorCount);
}

platform::MachineLimits Capabilities::limits() {
  using Configuration = VZVirtualMachineConfiguration;
  return {.minimumCPUCount = static_cast<std::int64_t>(Configuration.minimumAllowedCPUCount),
          .maximumCPUCount = static_cast<std::int64_t>(Configuration.maximumAllowedCPUCount),
          .minimumMemorySize = Configuration.minimumAllowedMemorySize,
          .maximumMemorySize = Configuration.maximumAllowedMemorySize};
}

}  // namespace parlen::macos
