#include "platform/macos/system.h"
#include "support/real_system.h"

namespace parlen::test {

std::unique_ptr<platform::System> makeRealSystem() { return macos::makeSystem(); }

}  // namespace parlen::test
