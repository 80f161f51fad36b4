#include "platform/simulated/world.h"

#include <string>

namespace parlen::simulated {

void World::unmodelled(std::string_view what) const {
  system.streams().writeError(
      "parlen-mac-vm: the simulated host cannot go on: " + std::string(what) + "\n");
  system.process().trap();
}

}  // namespace parlen::simulated
