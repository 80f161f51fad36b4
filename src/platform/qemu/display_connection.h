#pragma once

#include <optional>

#include "platform/linux/descriptor.h"
#include "platform/virtual_machine.h"

namespace parlen::qemu {

/// Connects a viewer to the display of a machine of this host, as soon as the machine has one, and
/// returns the viewer's end; nothing for another host's machine.
std::optional<linux::Descriptor> connectDisplay(platform::VirtualMachine& machine);

}  // namespace parlen::qemu
