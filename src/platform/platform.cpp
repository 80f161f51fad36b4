#include "platform/platform.h"

#include <cassert>

namespace parlen::platform {
namespace {

struct Current {
  System* system = nullptr;
  Host* host = nullptr;
};

constinit Current current;

}  // namespace

void usePlatform(System* system, Host* host) { current = {system, host}; }

System& system() {
  assert(current.system != nullptr);
  return *current.system;
}

Host& host() {
  assert(current.host != nullptr);
  return *current.host;
}

}  // namespace parlen::platform
