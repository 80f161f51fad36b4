#include "support/test_system.h"

#include "support/real_system.h"

namespace parlen::test {

TestSystem::TestSystem() : real_(makeRealSystem()), process_(loop_, real_->process()) {}

TestSystem::~TestSystem() = default;

}  // namespace parlen::test
