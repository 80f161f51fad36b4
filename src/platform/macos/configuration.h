#pragma once

#import <Virtualization/Virtualization.h>

#include "platform/machine_configuration.h"

namespace parlen::macos {

/// The framework's form of a configuration, value by value.
VZVirtualMachineConfiguration* toConfiguration(const platform::MachineConfiguration& configuration);

}  // namespace parlen::macos
