#include "contract/host_under_test.h"
#include "platform/simulated/host.h"
#include "support/real_system.h"

namespace parlen::test {
namespace {

class SimulatedHost final : public HostUnderTest {
 public:
  platform::System& system() override { return *system_; }
  platform::Host& host() override { return *host_; }
  std::string smallRestoreImage() override {
    return R"({"simulatedRestoreImage":1,"hardwareModel":"sim-1"})";
  }
  bool isInstalled(std::string_view disk) override {
    return disk.starts_with("parlen-simulated-guest");
  }
  std::optional<std::string> obedientRestoreImage(const std::string& directory) override {
    std::string path = directory + "/obedient";
    if (!system_->files().replace(path, smallRestoreImage())) return std::nullopt;
    return path;
  }
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
