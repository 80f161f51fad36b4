#pragma once

#include <memory>

#include "platform/host.h"

namespace parlen {

/// `machines` as it is, but for windows: those are `windows`' own. So a window can be worked on
/// without a guest.
std::unique_ptr<platform::Host> withWindowsOf(std::unique_ptr<platform::Host> machines,
                                              std::unique_ptr<platform::Host> windows);

}  // namespace parlen
