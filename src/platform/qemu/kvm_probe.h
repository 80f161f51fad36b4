#pragma once

#include <chrono>
#include <string_view>

namespace parlen::qemu {

/// Whether KVM runs guests here. That /dev/kvm can be opened is not enough: inside some virtual
/// machines it opens, and guests hang. Takes a few milliseconds, or a second or two if KVM hangs.
/// Main thread.
bool kvmWorks();

/// The same on x86 by the text of /proc/cpuinfo and by `runsCode`, which is called in a child
/// process, if the text has the flag, and has `limit` for it: it may crash or hang there.
bool kvmWorks(std::string_view processorInformation, bool (*runsCode)(),
              std::chrono::milliseconds limit);

/// Whether the text, in the format of /proc/cpuinfo, has the flag vmx (Intel) or svm (AMD).
bool hasVirtualizationFlag(std::string_view processorInformation);

/// Whether a virtual CPU of /dev/kvm runs a few instructions of this processor correctly. May hang.
/// Makes only async-signal-safe calls.
bool runsGuestCode();

}  // namespace parlen::qemu
