#pragma once

#import <Virtualization/Virtualization.h>

#include "platform/machine_configuration.h"

namespace parlen::macos {

/// The framework's equivalent of a configuration. Its handles must be this host's.
VZVirtualMachineConfiguration* toConfiguration(const platform::MachineConfiguration& configuration);

}  // namespace parlen::macos
