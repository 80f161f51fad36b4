#pragma once

#include "platform/simulated/scenario.h"
#include "platform/simulated/strict_json.h"

namespace parlen::simulated {

/// An error as a scenario writes it; what the object leaves out is what the default failure says.
Checked read(const Field& field, platform::PlatformError& target);

/// An entry of the script. An error is accepted only beside an event that carries one.
Checked read(const Field& field, ScriptEntry& target);

}  // namespace parlen::simulated
