#pragma once

#include <string>
#include <utility>

#include "platform/error.h"

namespace parlen::simulated {

/// A failure of this host's own. Without a description it is the one that a scenario asks for.
inline platform::PlatformError failure(std::string description = "simulated failure") {
  return {"ParlenSimulatedErrorDomain", 1, std::move(description)};
}

}  // namespace parlen::simulated
