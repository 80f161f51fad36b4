#include "platform/simulated/scenario.h"

#include <algorithm>
#include <cmath>

#include "fuzz.h"

namespace parlen {
namespace {

using fuzz::require;
using simulated::Scenario;

bool isTime(std::optional<std::chrono::milliseconds> time) {
  return !time || (time->count() >= 0 && time->count() <= 1'000'000'000'000);
}

void checkTimes(const Scenario& scenario) {
  const auto& machine = scenario.machine;
  for (const auto& time :
       {std::optional(machine.startMs), machine.shutdownMs, machine.stopMs,
        std::optional(machine.pauseMs), std::optional(machine.resumeMs),
        std::optional(scenario.restoreImage.loadMs), std::optional(scenario.install.stepMs)}) {
    require(isTime(time));
  }
  for (const auto& entry : scenario.script) require(isTime(entry.atMs));
}

void checkFractions(const std::vector<double>& fractions) {
  require(std::ranges::all_of(fractions, [](double it) { return std::isfinite(it); }));
}

}  // namespace
}  // namespace parlen

/// A scenario that is accepted has times and fractions within their ranges; one that is not has a
/// reason.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto scenario = parlen::simulated::parseScenario(parlen::fuzz::asText(data, size));
  if (!scenario) {
    parlen::fuzz::require(!scenario.error().empty());
    return 0;
  }
  parlen::checkTimes(*scenario);
  parlen::checkFractions(scenario->install.progress);
  return 0;
}
