#pragma once

#include <expected>
#include <memory>
#include <string>
#include <string_view>

#include "platform/platform.h"

namespace parlen::simulated {

/// Paths of the scenario and of the trace file; empty: the default scenario, no trace. `warn` is
/// called for a problem that does not end the run.
struct HostOptions {
  std::string scenarioPath;
  std::string tracePath;
  platform::WarningSink warn = [](std::string_view) {};
};

struct World;

/// Makes what all parts of a host share: the scenario, the trace, the desktop. The error is a
/// complete message for the user ("unusable scenario <path>: …"). `system` must outlive the world.
std::expected<std::shared_ptr<World>, std::string> makeWorld(platform::System& system,
                                                             const HostOptions& options);

/// Makes a deterministic host that runs no guests, with a world of its own. Errors as above.
/// `system` must outlive the host.
std::expected<std::unique_ptr<platform::Host>, std::string> makeHost(platform::System& system,
                                                                     const HostOptions& options);

}  // namespace parlen::simulated
