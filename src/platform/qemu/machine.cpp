#include "platform/qemu/machine.h"

#include <chrono>
#include <string_view>
#include <utility>

#include "platform/qemu/error.h"
#include "platform/qemu/guest_platform.h"
#include "platform/qemu/handles.h"
#include "platform/qemu/kvm_probe.h"

namespace parlen::qemu {
namespace {

using platform::Completion;
using platform::MachineState;
using platform::Result;

constexpr const char* monitorClosed = "QEMU does not listen any more";

std::string exitText(const linux::ChildExit& exit) { return "QEMU " + describe(exit); }

std::string withMessage(std::string sentence, const std::string& message) {
  // A warning from long ago is not why it ended.
  if (!message.empty() && !message.starts_with("warning: ")) sentence.append(": ").append(message);
  return sentence;
}

}  // namespace

Machine::Machine(linux::Loop& loop, platform::WarningSink warn,
                 platform::MachineConfiguration configuration)
    : loop_(loop), warn_(std::move(warn)), configuration_(std::move(configuration)) {}

void Machine::start(Completion done) {
  if (life_ != Life::unused) {
    return deliver(done, error("the machine has been started before"));
  }
  life_ = Life::alive;
  state_ = MachineState::starting;
  startDone_ = std::move(done);
  if (const auto launched = launch(); !launched) {
    later([this, reason = launched.error().description] { ended(reason); });
  }
}

Result<> Machine::launch() {
  const auto& model = static_cast<const HardwareModel&>(*configuration_.hardwareModel);
  const auto& storage = static_cast<const AuxiliaryStorage&>(*configuration_.auxiliaryStorage);
  const auto emulator = requireProgram(model.platform()->emulator);
  if (!emulator) return std::unexpected(emulator.error());
  // QEMU would run with a damaged store, and the guest would wait for ever in its firmware.
  const auto usable = checkAuxiliaryStorage(storage.path(), *model.platform());
  if (!usable) return usable;

  auto process = QemuProcess::start(
      loop_, *emulator, buildArguments(configuration_, chooseAcceleration()),
      {.monitor = {.onReady = [this] { ready(); },
                   .onEvent = [this](const QmpEvent& event) { happened(event); }},
       .onExit = [this](const SubprocessExit& exit) { processEnded(exit); }});
  if (!process) return std::unexpected(std::move(process).error());
  process_ = *std::move(process);
  return {};
}

Acceleration Machine::chooseAcceleration() {
  if (kvmWorks()) return Acceleration::kvm;
  warn_("this host has no hardware acceleration (KVM) that works: the guest is emulated, slowly");
  return Acceleration::emulation;
}

/// Only now have the devices been opened: a disk in use by another machine has ended QEMU before.
/// The guest has waited until here, because what it does before QEMU is listened to would go
/// unheard.
void Machine::ready() {
  takesCommands_ = true;
  for (linux::Descriptor& viewer : std::exchange(viewers_, {})) addViewer(std::move(viewer));
  process_->monitor().execute("cont", [this](const Result<>& result) { started(result); });
}

void Machine::started(const Result<>& result) {
  if (!result) {
    startFailure_ = "QEMU cannot start: " + result.error().description;
    process_->kill();
  } else if (move(MachineState::starting, MachineState::running)) {
    deliver(startDone_, {});
  }
}

void Machine::connectDisplay(linux::Descriptor socket) {
  if (life_ == Life::over) return;
  if (!takesCommands_) return viewers_.push_back(std::move(socket));
  addViewer(std::move(socket));
}

void Machine::addViewer(linux::Descriptor socket) {
  process_->monitor().addViewer(std::move(socket), [this](const Result<>& result) {
    if (!result) warn_("cannot show the guest's display: " + result.error().description);
  });
}

bool Machine::move(MachineState from, MachineState to) {
  if (state_ != from) return false;
  state_ = to;
  return true;
}

void Machine::happened(const QmpEvent& event) {
  if (event.name == "SHUTDOWN") {
    // A panic is told once more as the power-off that follows it; the first reason is the true one.
    if (!shutdownReason_) shutdownReason_ = event.textOf("reason");
    state_ = MachineState::stopping;
  } else if (event.name == "STOP") {
    // QEMU pauses the guest on its own too, when its disk fails.
    if (!move(MachineState::pausing, MachineState::paused)) {
      move(MachineState::running, MachineState::paused);
    }
  } else if (event.name == "RESUME") {
    diskFailureTold_ = false;
    if (!move(MachineState::resuming, MachineState::running)) {
      move(MachineState::paused, MachineState::running);
    }
  } else if (event.name == "BLOCK_IO_ERROR") {
    diskFailed(event);
  }
}

/// Many requests can fail at once; the parent is told once per pause.
void Machine::diskFailed(const QmpEvent& event) {
  if (event.textOf("action") != "stop" || std::exchange(diskFailureTold_, true)) return;
  const std::string_view what = event.textOf("operation") == "write" ? "writing" : "reading";
  warn_("the guest is paused: " + std::string(what) + " its disk failed (" +
        event.textOf("reason") + "); resuming tries again");
}

void Machine::pause(Completion done) {
  if (!canPause()) return deliver(done, error("the machine is not running"));
  if (!process_->monitor().isOpen()) return deliver(done, error(monitorClosed));
  state_ = MachineState::pausing;
  toggleDone_ = std::move(done);
  process_->monitor().execute("stop", [this](const Result<>& result) {
    toggled(MachineState::paused, MachineState::running, result);
  });
}

void Machine::resume(Completion done) {
  if (!canResume()) return deliver(done, error("the machine is not paused"));
  if (!process_->monitor().isOpen()) return deliver(done, error(monitorClosed));
  state_ = MachineState::resuming;
  toggleDone_ = std::move(done);
  process_->monitor().execute("cont", [this](const Result<>& result) {
    toggled(MachineState::running, MachineState::paused, result);
  });
}

/// The event usually came first and has changed the state already; then it stays as it is now.
void Machine::toggled(MachineState to, MachineState back, Result<> result) {
  const MachineState between =
      to == MachineState::paused ? MachineState::pausing : MachineState::resuming;
  move(between, result ? to : back);
  deliver(toggleDone_, std::move(result));
}

Result<> Machine::requestStop() {
  if (!canRequestStop()) return error("the machine is not running");
  if (!process_->monitor().isOpen()) return error(monitorClosed);
  pressPowerButton();
  return {};
}

/// A press is lost, without a sign, while firmware or an early kernel runs: press until it is gone.
void Machine::pressPowerButton() {
  if (shutdownReason_ || !process_->monitor().isOpen() || is(MachineState::stopping)) return;
  if (!std::exchange(powerButtonHeld_, true)) {
    process_->monitor().execute("system_powerdown",
                                [this](const Result<>&) { powerButtonHeld_ = false; });
  }
  constexpr std::chrono::seconds interval{1};
  loop_.postDelayed(interval, [this, alive = std::weak_ptr(alive_)] {
    if (!alive.expired() && process_) pressPowerButton();
  });
}

void Machine::stop(Completion done) {
  if (life_ != Life::alive) return deliver(done, error("the machine is stopped already"));
  // One end is reported once: a second stop changes nothing and hears nothing.
  if (stopDone_) return;
  stopDone_ = std::move(done);
  if (process_) endSoon();
  state_ = MachineState::stopping;
}

/// QEMU closes its files in order if it still listens, but not for longer than this: what it has
/// written is the kernel's by then.
void Machine::endSoon() {
  const bool takesCommands = !is(MachineState::starting) && process_->monitor().isOpen();
  if (takesCommands) process_->monitor().execute("quit", [](const Result<>&) {});
  if (!takesCommands && !shutdownReason_) return process_->kill();
  constexpr std::chrono::seconds patience{2};
  loop_.postDelayed(patience, [this, alive = std::weak_ptr(alive_)] {
    if (!alive.expired() && process_) process_->kill();
  });
}

void Machine::processEnded(const SubprocessExit& exit) {
  const bool wasStarting = startDone_ != nullptr && !shutdownReason_;
  if (wasStarting) return ended(startFailure_.value_or(startFailureOf(exit)));
  ended(failureOf(exit, shutdownReason_.value_or("")));
}

void Machine::ended(const std::optional<std::string>& failure) {
  const bool hadStarted = startDone_ == nullptr || !failure;
  const bool wasAskedFor = stopDone_ != nullptr;
  life_ = Life::over;
  state_ = failure && !wasAskedFor ? MachineState::error : MachineState::stopped;
  if (toggleDone_) deliver(toggleDone_, error("the machine has ended"));
  deliverEnd(failure, hadStarted);
  viewers_.clear();
  process_.reset();
}

/// Exactly one of the four ends.
void Machine::deliverEnd(const std::optional<std::string>& failure, bool hadStarted) {
  if (stopDone_) {
    deliver(stopDone_, {});
  } else if (!hadStarted) {
    deliver(startDone_, error(failure.value_or("")));
  } else if (failure) {
    later([this, reason = error(*failure).error()] {
      if (delegate_ != nullptr) delegate_->didStopWithError(reason);
    });
  } else {
    later([this] {
      if (delegate_ != nullptr) delegate_->guestDidStop();
    });
  }
}

/// In the order of the calls, unless the machine has been destroyed by then.
void Machine::later(platform::Work work) {
  loop_.post([work = std::move(work), alive = std::weak_ptr(alive_)] {
    if (!alive.expired()) work();
  });
}

void Machine::deliver(Completion& completion, Result<> result) {
  later([done = std::exchange(completion, nullptr), result = std::move(result)] { done(result); });
}

std::optional<std::string> failureOf(const SubprocessExit& end, std::string_view shutdownReason) {
  // After anything but an orderly end of the process, its last writes may be missing.
  const bool inOrder = end.exit.status == 0;
  if (inOrder && shutdownReason == "guest-shutdown") return std::nullopt;
  if (inOrder && shutdownReason == "guest-panic") {
    return "the guest's operating system has crashed";
  }
  if (inOrder && shutdownReason == "host-signal") {
    return withMessage("QEMU was asked to end by a signal", end.lastMessage);
  }
  return withMessage(exitText(end.exit), end.lastMessage);
}

std::string startFailureOf(const SubprocessExit& end) {
  // The status says nothing that the message does not.
  if (end.exit.status && !end.lastMessage.empty()) return "QEMU cannot start: " + end.lastMessage;
  return withMessage(exitText(end.exit), end.lastMessage) + " while it was starting";
}

}  // namespace parlen::qemu
