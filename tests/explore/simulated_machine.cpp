#include <algorithm>
#include <array>
#include <chrono>
#include <memory>
#include <string_view>

#include "machine_under_test.h"
#include "platform/simulated/machine.h"
#include "platform/simulated/world.h"

namespace parlen::explore {
namespace {

using simulated::ScriptEvent;
using std::chrono::milliseconds;

/// Delayed work of the machine that may run next, by the delay that its scenario gives it.
struct Timer {
  milliseconds delay;
  std::string_view completes;
  std::string_view fails;  // empty: it cannot fail
  simulated::OptionalError simulated::MachineScenario::* error;
};

constexpr std::array timers = {
    Timer{milliseconds(11), "start completes", "start fails",
          &simulated::MachineScenario::startError},
    Timer{milliseconds(12), "guest shuts down", "", nullptr},
    Timer{milliseconds(13), "hard stop completes", "hard stop fails",
          &simulated::MachineScenario::stopError},
    Timer{milliseconds(14), "pause completes", "pause fails",
          &simulated::MachineScenario::pauseError},
    Timer{milliseconds(15), "resume completes", "resume fails",
          &simulated::MachineScenario::resumeError},
    Timer{milliseconds(21), "guest-stops", "", nullptr},
    Timer{milliseconds(22), "stops-with-error", "", nullptr},
    Timer{milliseconds(23), "network-disconnects", "", nullptr},
    Timer{milliseconds(24), "enters-error-state", "", nullptr},
};

/// The work whose run completes a call.
milliseconds delayOf(std::string_view verb) {
  if (verb == "start") return milliseconds(11);
  if (verb == "stop") return milliseconds(13);
  return milliseconds(verb == "pause" ? 14 : 15);
}

simulated::Scenario scenario() {
  simulated::Scenario made;
  made.machine.startMs = milliseconds(11);
  made.machine.shutdownMs = milliseconds(12);
  made.machine.stopMs = milliseconds(13);
  made.machine.pauseMs = milliseconds(14);
  made.machine.resumeMs = milliseconds(15);
  made.script = {{.atMs = milliseconds(21), .event = ScriptEvent::guestStops},
                 {.atMs = milliseconds(22), .event = ScriptEvent::stopsWithError},
                 {.atMs = milliseconds(23), .event = ScriptEvent::networkDisconnects},
                 {.atMs = milliseconds(24), .event = ScriptEvent::entersErrorState}};
  return made;
}

/// A simulated machine for all scenarios at once: its delayed work may run in any order, since a
/// scenario may have any times, and whether an operation fails is decided when it completes.
class SimulatedMachine final : public MachineUnderTest {
 public:
  SimulatedMachine(platform::System& system, ExploredLoop& loop)
      : loop_(loop),
        world_(std::make_shared<simulated::World>(
            simulated::World{.system = system,
                             .scenario = scenario(),
                             .trace = simulated::Trace(loop, loop.now(), nullptr)})) {}

  std::unique_ptr<platform::VirtualMachine> make(
      const platform::MachineConfiguration& configuration) override {
    return std::make_unique<simulated::Machine>(world_, configuration);
  }

  Story choices(bool mayQueue) const override {
    Story all;
    for (const Timer& timer : timers) {
      if (!mayQueue || !isPending(timer.delay)) continue;
      all.emplace_back(timer.completes);
      if (!timer.fails.empty()) all.emplace_back(timer.fails);
    }
    const simulated::MachineScenario& machine = world_->scenario.machine;
    if (!machine.requestStopError) all.emplace_back(requestsFail);
    if (!machine.canRequestStop) all.emplace_back(requestsImpossible);
    return all;
  }

  void perform(const std::string& choice) override {
    simulated::MachineScenario& machine = world_->scenario.machine;
    if (choice == requestsFail) machine.requestStopError = simulated::defaultError();
    if (choice == requestsImpossible) machine.canRequestStop = false;
    for (const Timer& timer : timers) {
      if (choice != timer.completes && choice != timer.fails) continue;
      if (timer.error != nullptr) {
        machine.*timer.error = choice == timer.fails
                                   ? simulated::OptionalError(simulated::defaultError())
                                   : std::nullopt;
      }
      if (timer.completes == "guest shuts down") shutdownWasDue_ = true;
      loop_.expire(indexOf(timer.delay));
    }
  }

  /// The delayed work is told by its delay: each kind has one of its own, and of two pieces of one
  /// kind (only hard stops can be several) it makes no difference which one runs. A result that
  /// was chosen for queued work counts with it. A shutdown that fell due in a paused guest is
  /// remembered (`shutdownHeldUp_`).
  std::string fingerprint() const override {
    std::string text = shutdownWasDue_ ? "due" : "";
    for (const Timer& timer : timers) {
      const auto label = labelOf(timer.delay);
      const bool fails = timer.error != nullptr && world_->scenario.machine.*timer.error;
      const bool isQueued = std::ranges::find(loop_.queued(), label,
                                              &ExploredLoop::Queued::label) != loop_.queued().end();
      if (isPending(timer.delay)) text += " " + label;
      if (isQueued && fails) text += " " + label + " fails";
    }
    text += world_->scenario.machine.requestStopError ? " fail" : "";
    return text + (world_->scenario.machine.canRequestStop ? " impossible" : "");
  }

  void called(const Call&, std::size_t) override {}

  std::string disproof(const Call& call, std::size_t, const platform::Result<>&) const override {
    const std::string label = labelOf(delayOf(call.verb));
    // A call that the machine refuses completes without delay.
    if (loop_.running() == label || !isOfDelayedWork(loop_.running())) return "";
    return "the work that runs was queued " + loop_.running();
  }

  bool owesNothing() const override {
    return !isEnding() && !isPending(delayOf("start")) && !isPending(delayOf("pause")) &&
           !isPending(delayOf("resume"));
  }
  bool isEnding() const override { return isPending(delayOf("stop")); }

  std::string complaint(platform::MachineState state) const override {
    if (state == platform::MachineState::pausing && !isPending(delayOf("pause"))) {
      return "the machine is pausing for ever";
    }
    if (state == platform::MachineState::resuming && !isPending(delayOf("resume"))) {
      return "the machine is resuming for ever";
    }
    return "";
  }

 private:
  static constexpr const char* requestsFail = "orderly stops fail from now on";
  static constexpr const char* requestsImpossible = "orderly stops are impossible from now on";

  std::size_t indexOf(milliseconds delay) const {
    const auto& delayed = loop_.delayed();
    return static_cast<std::size_t>(
        std::ranges::find(delayed, delay, &ExploredLoop::Delayed::delay) - delayed.begin());
  }
  bool isPending(milliseconds delay) const { return indexOf(delay) < loop_.delayed().size(); }

  ExploredLoop& loop_;
  std::shared_ptr<simulated::World> world_;
  bool shutdownWasDue_ = false;
};

}  // namespace

/// One start for each state of the machine; `stopping` is one step from any.
MachineKind simulatedMachine() {
  const Story starting;
  const Story running = {"start completes", "work", "work"};
  const Story pausing = behind(running, {"pause", "work"});
  const Story paused = behind(pausing, {"pause completes", "work", "work"});
  const Story resuming = behind(paused, {"resume", "work"});
  const Story inError = behind(running, {"enters-error-state", "work"});
  return {
      .name = "simulated",
      .make = [](platform::System& system,
                 ExploredLoop& loop) { return std::make_unique<SimulatedMachine>(system, loop); },
      .starts = {starting, running, pausing, paused, resuming, inError}};
}

}  // namespace parlen::explore
