#pragma once

#include <string_view>

#include "platform/platform.h"
#include "platform/simulated/desktop.h"
#include "platform/simulated/scenario.h"
#include "platform/simulated/trace.h"

namespace parlen::simulated {

/// What every part of the host shares. Shared, because handles and queued work may outlive the
/// host; the system outlives all.
struct World {
  platform::System& system;
  Scenario scenario;
  Trace trace;
  Desktop desktop = {};

  /// Says on standard error what the program did that this host has no answer to, and aborts.
  [[noreturn]] void unmodelled(std::string_view what) const;
};

}  // namespace parlen::simulated
