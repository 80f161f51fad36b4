#pragma once

#include "platform/bar.h"
#include "platform/simulated/json_members.h"

namespace parlen::simulated {

/// The bar as a tree: every property that the program set, and no other.
JsonMembers describe(const platform::BarStack& bar);

}  // namespace parlen::simulated
