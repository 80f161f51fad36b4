#pragma once

#include <optional>
#include <string>

namespace parlen {

/// Answers where a guest's window would go for the numbers in these options' texts, without a
/// screen: writes one `window-size` line and ends the process with status 0, or with a usage error.
/// A place that has no 64-bit coordinates is a trap, with nothing written. Main thread, at
/// start-up.
[[noreturn]] void windowSizeCheck(const std::optional<std::string>& guest,
                                  const std::optional<std::string>& scale,
                                  const std::optional<std::string>& visible,
                                  const std::optional<std::string>& chrome);

}  // namespace parlen
