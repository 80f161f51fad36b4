#pragma once

#include <string_view>

namespace parlen::qemu {

/// Whether the kernel's virtualization runs guests here. A device that can be opened is not enough:
/// inside some virtual machines it opens, and guests hang. Takes a few milliseconds.
bool kvmWorks();

/// Whether a text like that of /proc/cpuinfo names a processor that can run guests.
bool hasVirtualizationFlag(std::string_view processorInformation);

/// Whether a virtual CPU on /dev/kvm runs a few instructions as it should.
bool runsProtectedModeCode();

}  // namespace parlen::qemu
