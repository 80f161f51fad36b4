#pragma once

#include "platform/machine_configuration.h"
#include "platform/simulated/json_members.h"

namespace parlen::simulated {

/// The whole configuration as the trace shows it; a part that is not there is null.
JsonMembers describe(const platform::MachineConfiguration& configuration);

}  // namespace parlen::simulated
