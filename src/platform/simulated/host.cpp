#include "platform/simulated/host.h"

#include <utility>

#include "platform/simulated/handles.h"
#include "platform/simulated/machine.h"
#include "platform/simulated/restoration.h"
#include "platform/simulated/window_system.h"
#include "platform/simulated/world.h"

namespace parlen::simulated {
namespace {

class Capabilities : public platform::HostCapabilities {
 public:
  explicit Capabilities(std::shared_ptr<const World> world) : world_(std::move(world)) {}

  bool isSupported() override { return world_->scenario.host.supported; }
  std::int64_t processorCount() override { return world_->scenario.host.processorCount; }
  platform::MachineLimits limits() override {
    const HostScenario& host = world_->scenario.host;
    return {host.minimumCPUCount, host.maximumCPUCount, host.minimumMemorySize,
            host.maximumMemorySize};
  }

 private:
  std::shared_ptr<const World> world_;
};

/// Its parts are one pointer each, so they are all made at once.
class Host : public platform::Host {
 public:
  explicit Host(const std::shared_ptr<World>& world)
      : capabilities_(world),
        identities_(world),
        machines_(world),
        restoration_(world),
        application_(world),
        windowSystem_(world) {}

  platform::HostCapabilities& capabilities() override { return capabilities_; }
  platform::GuestIdentities& identities() override { return identities_; }
  platform::MachineFactory& machines() override { return machines_; }
  platform::Restoration& restoration() override { return restoration_; }
  platform::Application& application() override { return application_; }
  platform::Result<platform::WindowSystem*> windowSystem() override { return &windowSystem_; }

 private:
  Capabilities capabilities_;
  Identities identities_;
  MachineFactory machines_;
  Restoration restoration_;
  Application application_;
  WindowSystem windowSystem_;
};

std::expected<Scenario, std::string> loadScenario(platform::System& system,
                                                  const std::string& path) {
  if (path.empty()) return Scenario{};
  const auto bytes = system.files().read(path);
  auto scenario = bytes ? parseScenario(*bytes) : std::unexpected(bytes.error().description);
  if (scenario) return scenario;
  return std::unexpected("unusable scenario " + path + ": " + scenario.error());
}

std::expected<std::unique_ptr<platform::AppendingFile>, std::string> openTrace(
    platform::System& system, const std::string& path) {
  if (path.empty()) return nullptr;
  auto file = system.files().createForAppending(path);
  if (file) return std::move(*file);
  return std::unexpected("unusable trace " + path + ": " + file.error().description);
}

}  // namespace

std::expected<std::shared_ptr<World>, std::string> makeWorld(platform::System& system,
                                                             const HostOptions& options) {
  const auto start = system.loop().now();
  auto scenario = loadScenario(system, options.scenarioPath);
  if (!scenario) return std::unexpected(scenario.error());
  auto trace = openTrace(system, options.tracePath);
  if (!trace) return std::unexpected(trace.error());
  return std::make_shared<World>(World{
      system, std::move(*scenario), Trace(system.loop(), start, std::move(*trace)), options.warn});
}

std::expected<std::unique_ptr<platform::Host>, std::string> makeHost(platform::System& system,
                                                                     const HostOptions& options) {
  const auto world = makeWorld(system, options);
  if (!world) return std::unexpected(world.error());
  return std::make_unique<Host>(*world);
}

}  // namespace parlen::simulated
