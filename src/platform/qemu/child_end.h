#pragma once

#include <string>

#include "platform/linux/child_process.h"

namespace parlen::qemu {

/// "has ended with status 1", "was ended by signal 9 (Killed)".
std::string describe(const linux::ChildExit& exit);

}  // namespace parlen::qemu
