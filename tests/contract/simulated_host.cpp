#include "platform/simulated/host.h"

#include <memory>

#include "contract/made_up_guests.h"
#include "support/real_system.h"

namespace parlen::test {
namespace {

class SimulatedHost final : public MadeUpGuests {
 public:
  platform::System& system() override { return *system_; }
  platform::Host& host() override { return *host_; }
  bool keepsMachinesApart() const override { return false; }

 private:
  std::unique_ptr<platform::System> system_ = makeRealSystem();
  std::unique_ptr<platform::Host> host_ = simulated::makeHost(*system_, {}).value();
};

}  // namespace

HostMaker simulatedHost() {
  return {.name = "Simulated", .make = [] { return std::make_unique<SimulatedHost>(); }};
}

}  // namespace parlen::test
