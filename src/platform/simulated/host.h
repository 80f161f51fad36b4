#pragma once

#include <expected>
#include <memory>
#include <string>

#include "platform/platform.h"

namespace parlen::simulated {

/// Where the simulated host finds what it shall do and writes what it did; empty: default, none.
struct HostOptions {
  std::string scenarioPath;
  std::string tracePath;
};

/// A deterministic host that runs no guests. The error is a complete message for the user
/// ("unusable scenario <path>: …"). `system` must outlive the host.
std::expected<std::unique_ptr<platform::Host>, std::string> makeHost(platform::System& system,
                                                                     const HostOptions& options);

}  // namespace parlen::simulated
