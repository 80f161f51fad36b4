#include "platform/simulated/machine.h"

#include <chrono>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "platform/simulated/handles.h"

namespace parlen::simulated {
namespace {

using std::chrono::milliseconds;

platform::Result<> outcome(const OptionalError& error) {
  if (error) return std::unexpected(*error);
  return {};
}

platform::Result<> outcomeOfStart(const MachineScenario& scenario) {
  if (scenario.inUse) return error("the guest is in use by another process");
  return outcome(scenario.startError);
}

platform::PlatformError guestPanic() {
  return error("the guest's operating system has crashed").error();
}

template <class Number>
platform::Result<> checkRange(std::string_view what, Number value, Number min, Number max) {
  if (value >= min && value <= max) return {};
  return error("the " + std::string(what) + " " + std::to_string(value) +
               " is not within this host's limits, " + std::to_string(min) + " to " +
               std::to_string(max));
}

platform::Result<> checkLimits(const HostScenario& host,
                               const platform::MachineConfiguration& configuration) {
  auto cpus =
      checkRange("CPU count", configuration.cpuCount, host.minimumCPUCount, host.maximumCPUCount);
  if (!cpus) return cpus;
  return checkRange("memory size", configuration.memorySize, host.minimumMemorySize,
                    host.maximumMemorySize);
}

}  // namespace

/// A pause or a resume.
struct Machine::Transition {
  std::string_view traced;
  std::string_view verb;
  State from;
  State through;
  State to;
  milliseconds MachineScenario::* time;
  OptionalError MachineScenario::* error;
};

Machine::Machine(std::shared_ptr<World> world, platform::MachineConfiguration configuration)
    : world_(std::move(world)),
      configuration_(std::move(configuration)),
      timers_(world_->system.loop()) {}

void Machine::start(platform::Completion done) {
  world_->trace.record("machine.start");
  if (life_ != Life::unused) world_->unmodelled("a machine can be started only once");
  life_ = Life::alive;
  state_ = State::starting;
  // Before the script, so that the start completes first where both are due at the same time.
  timers_.after(world_->scenario.machine.startMs,
                [this, done = std::move(done)] { finishStart(done); });
  for (const ScriptEntry& entry : world_->scenario.script) {
    timers_.after(entry.atMs, [this, &entry] { runScriptEntry(entry); });
  }
}

void Machine::finishStart(const platform::Completion& done) {
  // Only one end is reported: after a stop or an end, the start never completes.
  if (!isAlive() || state_ == State::stopping) return;
  auto result = outcomeOfStart(world_->scenario.machine);
  if (result) result = checkFiles();
  if (!result) {
    end(State::error);
  } else if (state_ == State::starting) {
    state_ = State::running;
    holdLater();
  }
  done(std::move(result));
}

platform::Result<> Machine::checkFiles() const {
  const auto files = checkGuestFiles(world_->system.files(), configuration_);
  if (files) return {};
  return error("could not start the machine: " + files.error().description);
}

bool Machine::canRequestStop() const {
  return world_->scenario.machine.canRequestStop.value_or(state_ == State::running);
}

platform::Result<> Machine::requestStop() {
  world_->trace.record("machine.requestStop");
  const MachineScenario& scenario = world_->scenario.machine;
  if (!isAlive() || !canRequestStop()) {
    return error("the machine is in no state to shut its guest down");
  }
  if (scenario.requestStopError) return std::unexpected(*scenario.requestStopError);
  if (scenario.shutdownMs) timers_.after(*scenario.shutdownMs, [this] { finishShutdown(); });
  return {};
}

void Machine::finishShutdown() {
  if (!isAlive()) return;
  // A paused guest executes nothing. finishTransition() tries again after the resume.
  shutdownHeldUp_ = state_ == State::paused || state_ == State::resuming;
  if (shutdownHeldUp_) return;
  end(State::stopped);
  if (delegate_ != nullptr) delegate_->guestDidStop();
}

void Machine::stop(platform::Completion done) {
  world_->trace.record("machine.stop");
  if (!isAlive()) {
    timers_.after(milliseconds(0),
                  [done = std::move(done)] { done(error("the machine is stopped already")); });
    return;
  }
  state_ = State::stopping;
  const auto time = world_->scenario.machine.stopMs;
  if (time) timers_.after(*time, [this, done = std::move(done)] { finishStop(done); });
}

void Machine::finishStop(const platform::Completion& done) {
  // Only one end is reported: another hard stop, or the guest's own end, came first.
  if (!isAlive()) return;
  end(State::stopped);
  done(outcome(world_->scenario.machine.stopError));
}

void Machine::pause(platform::Completion done) {
  runTransition({"machine.pause", "pause", State::running, State::pausing, State::paused,
                 &MachineScenario::pauseMs, &MachineScenario::pauseError},
                std::move(done));
}

void Machine::resume(platform::Completion done) {
  runTransition({"machine.resume", "resume", State::paused, State::resuming, State::running,
                 &MachineScenario::resumeMs, &MachineScenario::resumeError},
                std::move(done));
}

void Machine::runTransition(const Transition& transition, platform::Completion done) {
  world_->trace.record(transition.traced);
  if (state_ != transition.from) {
    timers_.after(milliseconds(0), [verb = transition.verb, done = std::move(done)] {
      done(error("the machine is in no state to " + std::string(verb)));
    });
    return;
  }
  state_ = transition.through;
  timers_.after(world_->scenario.machine.*transition.time,
                [this, transition, done = std::move(done)] { finishTransition(transition, done); });
}

void Machine::finishTransition(const Transition& transition, const platform::Completion& done) {
  if (!isAlive() || state_ == State::stopping) {
    done(error("the machine stopped before it could " + std::string(transition.verb)));
    return;
  }
  const auto result = outcome(world_->scenario.machine.*transition.error);
  // A machine that entered the error state meanwhile stays in it.
  if (state_ == transition.through) state_ = result ? transition.to : transition.from;
  if (state_ == State::running) {
    holdLater();
    if (shutdownHeldUp_) timers_.after(milliseconds(0), [this] { finishShutdown(); });
  }
  done(result);
}

void Machine::fillDisk(const platform::PlatformError& error) {
  diskError_ = error;
  holdIfDiskIsFull();
}

/// The guest writes again in a loop iteration after the one in which it starts or goes on.
void Machine::holdLater() {
  if (diskError_) timers_.after(milliseconds(0), [this] { holdIfDiskIsFull(); });
}

/// A guest that writes to a full disk is paused by its host, as QEMU does it.
void Machine::holdIfDiskIsFull() {
  if (!diskError_ || state_ != State::running) return;
  state_ = State::paused;
  world_->warn("the guest is paused: writing its disk failed (" + diskError_->description +
               "); resuming tries again");
}

void Machine::runScriptEntry(const ScriptEntry& entry) {
  if (!isAlive()) return;
  // In its answer to a click the program may destroy this machine and the host, but not the world.
  const std::shared_ptr<World> world = world_;
  switch (entry.event) {
    case ScriptEvent::guestStops:
      end(State::stopped);
      if (delegate_ != nullptr) delegate_->guestDidStop();
      break;
    case ScriptEvent::stopsWithError:
      end(State::error);
      if (delegate_ != nullptr) delegate_->didStopWithError(entry.error);
      break;
    case ScriptEvent::networkDisconnects:
      if (delegate_ != nullptr) delegate_->networkAttachmentDisconnected(entry.error);
      break;
    case ScriptEvent::entersErrorState:
      state_ = State::error;
      break;
    case ScriptEvent::clicksLater:
      world->desktop.click("Later");
      break;
    case ScriptEvent::clicksDone:
      world->desktop.click("Done");
      break;
    case ScriptEvent::closesWindow:
      world->desktop.closeWindow();
      break;
    case ScriptEvent::guestPanics:
      end(State::error);
      if (delegate_ != nullptr) delegate_->didStopWithError(guestPanic());
      break;
    case ScriptEvent::diskFills:
      fillDisk(entry.error);
      break;
    case ScriptEvent::diskHasRoom:
      diskError_.reset();
      break;
  }
}

void Machine::end(State state) {
  life_ = Life::over;
  state_ = state;
}

std::shared_ptr<const platform::AuxiliaryStorage> MachineFactory::openAuxiliaryStorage(
    const std::string& path) {
  return std::make_shared<AuxiliaryStorage>(path);
}

platform::Result<std::shared_ptr<const platform::AuxiliaryStorage>>
MachineFactory::createAuxiliaryStorage(const std::string& path,
                                       const platform::HardwareModel& model) {
  const auto& simulatedModel = static_cast<const HardwareModel&>(model);
  auto created = simulated::createAuxiliaryStorage(world_->system.files(), path, simulatedModel);
  if (!created) return std::unexpected(created.error());
  return std::make_shared<AuxiliaryStorage>(path);
}

platform::Result<std::shared_ptr<const platform::DiskAttachment>> MachineFactory::attachDisk(
    const std::string& path, bool readOnly) {
  if (const OptionalError& error = world_->scenario.configuration.attachError) {
    return std::unexpected(*error);
  }
  platform::Files& files = world_->system.files();
  if (const auto content = files.readStart(path, 0); !content) {
    return std::unexpected(content.error());
  }
  const auto access = readOnly ? DiskAccess::readOnly : DiskAccess::readWrite;
  if (access == DiskAccess::readWrite) {
    // An empty write only checks that the file is writable.
    if (const auto writable = files.writeStart(path, ""); !writable) {
      return std::unexpected(writable.error());
    }
  }
  return std::make_shared<DiskAttachment>(path, access);
}

platform::Result<> MachineFactory::validate(const platform::MachineConfiguration& configuration) {
  world_->trace.record("configuration.validate",
                       JsonMembers().add("configuration", describe(configuration)));
  auto limits = checkLimits(world_->scenario.host, configuration);
  if (!limits) return limits;
  return outcome(world_->scenario.configuration.validateError);
}

std::unique_ptr<platform::VirtualMachine> MachineFactory::createMachine(
    const platform::MachineConfiguration& configuration) {
  world_->trace.record("machine.create",
                       JsonMembers().add("configuration", describe(configuration)));
  if (!checkLimits(world_->scenario.host, configuration)) {
    world_->unmodelled("a machine was made of a configuration that is not valid");
  }
  return std::make_unique<Machine>(world_, configuration);
}

}  // namespace parlen::simulated
