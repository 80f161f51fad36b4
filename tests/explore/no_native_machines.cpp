#include "machine_under_test.h"

namespace parlen::explore {

std::vector<MachineKind> nativeMachines() { return {}; }

}  // namespace parlen::explore
