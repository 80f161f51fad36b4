#import "platform/macos/capabilities.h"

#import <Virtualization/Virtualization.h>

namespace parlen::macos {

bool Capabilities::isSupported() { return VZVirtualMachine.isSupported; }

std::int64_t Capabilities::processorCount() {
  return static_cast<std::int64_t>(NSProcessInfo.processInfo.processorCount);
}

platform::MachineLimits Capabilities::limits() {
  return {.minimumCPUCount =
              static_cast<std::int64_t>(VZVirtualMachineConfiguration.minimumAllowedCPUCount),
          .maximumCPUCount =
              static_cast<std::int64_t>(VZVirtualMachineConfiguration.maximumAllowedCPUCount),
          .minimumMemorySize = VZVirtualMachineConfiguration.minimumAllowedMemorySize,
          .maximumMemorySize = VZVirtualMachineConfiguration.maximumAllowedMemorySize};
}

}  // namespace parlen::macos
