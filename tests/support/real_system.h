#pragma once

#include <memory>

#include "platform/platform.h"

namespace parlen::test {

/// The services of the operating system that the tests run on.
std::unique_ptr<platform::System> makeRealSystem();

}  // namespace parlen::test
