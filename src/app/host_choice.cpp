#include "app/host_choice.h"

#include <cstdlib>
#include <utility>

#include "events/die.h"
#include "events/error_code.h"
#include "events/event_stream.h"
#include "platform/simulated/host.h"

namespace parlen {
namespace {

std::optional<std::string> variable(const char* name) {
  const char* value = std::getenv(name);
  if (value == nullptr) return std::nullopt;
  return value;
}

std::unique_ptr<platform::Host> makeSimulatedHost(const HostChoice& choice,
                                                  platform::System& system) {
  auto host = simulated::makeHost(system, {.scenarioPath = choice.scenario.value_or(""),
                                           .tracePath = choice.trace.value_or("")});
  if (!host) die(errorCode::badUsage, host.error());
  return *std::move(host);
}

}  // namespace

HostChoice readEnvironment() {
  return {variable("PARLEN_HOST"), variable("PARLEN_SCENARIO"), variable("PARLEN_TRACE")};
}

std::unique_ptr<platform::Host> makeChosenHost(const HostChoice& choice,
                                               platform::NativePlatform& native) {
  if (!choice.host || *choice.host == native.hostName()) return native.makeHost(warn);
  if (*choice.host == "simulated") return makeSimulatedHost(choice, native.system());
  die(errorCode::badUsage, "unknown PARLEN_HOST '" + *choice.host + "'");
}

}  // namespace parlen
