#include "contract/host_under_test.h"

namespace parlen::test {

std::vector<HostMaker> nativeHosts() { return {}; }

}  // namespace parlen::test
