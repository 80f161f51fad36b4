#include "support/test_system.h"

namespace parlen::test {

TestSystem::TestSystem() : posix_(posix::makePosixSystem()), process_(loop_, posix_->process()) {}

TestSystem::~TestSystem() = default;

}  // namespace parlen::test
