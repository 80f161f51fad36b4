#include "platform/linux/system.h"
#include "support/real_system.h"

namespace parlen::test {

std::unique_ptr<platform::System> makeRealSystem() { return std::make_unique<linux::System>(); }

}  // namespace parlen::test
