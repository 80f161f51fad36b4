#pragma once

#include <memory>
#include <optional>
#include <string>

#include "platform/platform.h"

namespace parlen {

/// What the environment says about the host; nothing where a variable is unset.
struct HostChoice {
  std::optional<std::string> host = std::nullopt;      // PARLEN_HOST
  std::optional<std::string> scenario = std::nullopt;  // PARLEN_SCENARIO
  std::optional<std::string> trace = std::nullopt;     // PARLEN_TRACE
  std::optional<std::string> console = std::nullopt;   // PARLEN_CONSOLE, of the native host
  // PARLEN_WINDOWS, for work on a window: "native" shows the simulated machine in a window of the
  // system's own, where the system can.
  std::optional<std::string> windows = std::nullopt;
};

/// From this process's environment.
HostChoice readEnvironment();

/// Makes the chosen host, or ends the process with a usage error.
std::unique_ptr<platform::Host> makeChosenHost(const HostChoice& choice,
                                               platform::NativePlatform& native);

}  // namespace parlen
