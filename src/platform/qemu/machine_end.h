#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/qemu/qemu_process.h"

namespace parlen::qemu {

/// Why a machine that nobody stopped hard has ended: nothing if its guest has shut down and QEMU
/// has ended in order, else a sentence. `shutdownReason` is what QEMU announced before it ended,
/// empty if it announced nothing.
std::optional<std::string> failureOf(const QemuExit& end, std::string_view shutdownReason);

/// The same for a machine whose start had not completed.
std::string startFailureOf(const QemuExit& end);

}  // namespace parlen::qemu
