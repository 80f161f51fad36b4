#include "app/host_choice.h"

#include <cstdlib>
#include <utility>

#include "events/error_code.h"
#include "events/event_stream.h"
#include "platform/simulated/host.h"

namespace parlen {
namespace {

/// The machines of one host in the windows of another: a window can be worked on without a guest.
class HostWithOtherWindows final : public platform::Host {
 public:
  HostWithOtherWindows(std::unique_ptr<platform::Host> machines,
                       std::unique_ptr<platform::Host> windows)
      : machines_(std::move(machines)), windows_(std::move(windows)) {}

  platform::HostCapabilities& capabilities() override { return machines_->capabilities(); }
  platform::GuestIdentities& identities() override { return machines_->identities(); }
  platform::MachineFactory& machines() override { return machines_->machines(); }
  platform::Restoration& restoration() override { return machines_->restoration(); }
  platform::Application& application() override { return windows_->application(); }
  platform::Result<platform::WindowSystem*> windowSystem() override {
    return windows_->windowSystem();
  }

 private:
  std::unique_ptr<platform::Host> machines_;
  std::unique_ptr<platform::Host> windows_;
};

std::optional<std::string> variable(const char* name) {
  const char* value = std::getenv(name);
  if (value == nullptr) return std::nullopt;
  return value;
}

std::unique_ptr<platform::Host> makeSimulatedHost(const HostChoice& choice,
                                                  platform::NativePlatform& native) {
  auto host = simulated::makeHost(native.system(), {.scenarioPath = choice.scenario.value_or(""),
                                                    .tracePath = choice.trace.value_or(""),
                                                    .warn = warn});
  if (!host) die(errorCode::badUsage, host.error());
  const std::string windows = choice.windows.value_or("");
  if (windows.empty()) return *std::move(host);
  if (windows == "native" && native.showsForeignMachines()) {
    return std::make_unique<HostWithOtherWindows>(*std::move(host), native.makeHost(warn));
  }
  die(errorCode::badUsage, "unknown PARLEN_WINDOWS '" + windows + "'");
}

std::unique_ptr<platform::Host> makeNativeHost(const HostChoice& choice,
                                               platform::NativePlatform& native) {
  const std::string console = choice.console.value_or("");
  if (!console.empty()) {
    const auto opened = native.openConsole(console);
    if (!opened) {
      die(errorCode::badUsage, "unusable console " + console + ": " + opened.error().description);
    }
  }
  return native.makeHost(warn);
}

}  // namespace

HostChoice readEnvironment() {
  return {variable("PARLEN_HOST"), variable("PARLEN_SCENARIO"), variable("PARLEN_TRACE"),
          variable("PARLEN_CONSOLE"), variable("PARLEN_WINDOWS")};
}

std::unique_ptr<platform::Host> makeChosenHost(const HostChoice& choice,
                                               platform::NativePlatform& native) {
  if (!choice.host || *choice.host == native.hostName()) return makeNativeHost(choice, native);
  if (*choice.host == "simulated") return makeSimulatedHost(choice, native);
  die(errorCode::badUsage, "unknown PARLEN_HOST '" + *choice.host + "'");
}

}  // namespace parlen
