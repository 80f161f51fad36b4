#include "platform/qemu/machine.h"

#include <chrono>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/linux/find_program.h"
#include "platform/qemu/configuration.h"
#include "platform/qemu/error.h"
#include "platform/qemu/guest_platform.h"
#include "platform/qemu/handles.h"
#include "platform/qemu/kvm_probe.h"
#include "platform/qemu/name_servers.h"
#include "platform/qemu/network.h"

namespace parlen::qemu {
namespace {

using platform::Completion;
using platform::MachineState;
using platform::PlatformError;
using platform::Result;

constexpr const char* monitorClosed = "QEMU does not listen any more";

std::string exitText(const linux::ChildExit& exit) { return "QEMU " + describe(exit); }

std::string withMessage(std::string sentence, const std::string& message) {
  // A warning may be from long ago, and is not why QEMU ended.
  if (!message.empty() && !message.starts_with("warning: ")) sentence.append(": ").append(message);
  return sentence;
}

/// The emulator's path, for a guest that it can run.
Result<std::string> findEmulator(const platform::MachineConfiguration& configuration) {
  const auto& model = static_cast<const HardwareModel&>(*configuration.hardwareModel);
  const auto& storage = static_cast<const AuxiliaryStorage&>(*configuration.auxiliaryStorage);
  auto emulator = requireProgram(model.platform()->board->emulator);
  if (!emulator) return emulator;
  // QEMU runs with a damaged store, and the guest then hangs in its firmware.
  const auto usable = checkAuxiliaryStorage(storage.path(), model.platform()->firmware);
  if (!usable) return std::unexpected(usable.error());
  return emulator;
}

Acceleration chooseAcceleration(const platform::WarningSink& warn) {
  if (kvmWorks()) return Acceleration::kvm;
  warn("this host has no hardware acceleration (KVM) that works: the guest is emulated, slowly");
  return Acceleration::emulation;
}

}  // namespace

Launcher installedEmulator(linux::EventLoop& loop, platform::WarningSink warn,
                           std::optional<int> console) {
  return [&loop, console, warn = std::move(warn)](
             const platform::MachineConfiguration& configuration,
             QemuProcess::Handlers handlers) -> Result<std::unique_ptr<QemuProcess>> {
    const auto emulator = findEmulator(configuration);
    if (!emulator) return std::unexpected(emulator.error());
    const auto passt = linux::findProgram(networkProgram);
    return startQemu(loop,
                     {.emulator = *emulator,
                      .passt = passt ? std::optional(*passt) : std::nullopt,
                      .nameServers = passt ? hostNameServers() : std::vector<std::string>(),
                      .configuration = configuration,
                      .acceleration = chooseAcceleration(warn),
                      .console = console},
                     std::move(handlers));
  };
}

Machine::Machine(platform::EventLoop& loop, platform::WarningSink warn,
                 platform::MachineConfiguration configuration, Launcher launch)
    : loop_(loop),
      warn_(std::move(warn)),
      configuration_(std::move(configuration)),
      launch_(std::move(launch)) {}

void Machine::start(Completion done) {
  if (life_ != Life::unused) {
    return deliver(done, error("the machine has been started before"));
  }
  life_ = Life::alive;
  state_ = MachineState::starting;
  startDone_ = std::move(done);
  auto launched =
      launch_(configuration_,
              {.monitor = {.onReady = [this](const Result<>& result) { onReady(result); },
                           .onEvent = [this](const QmpEvent& event) { onQmpEvent(event); },
                           .onClosed = [this] { onMonitorClosed(); }},
               .onExit = [this](const SubprocessExit& exit) { onExit(exit); },
               .onNetworkLost = [this](const PlatformError& error) { onNetworkLost(error); }});
  if (launched) {
    process_ = *std::move(launched);
  } else {
    later([this, reason = launched.error().description] { end(reason); });
  }
}

/// QEMU has opened its devices, so a disk that another machine uses has already failed. The guest
/// was started paused (-S) so that no event is missed.
void Machine::onReady(const Result<>& control) {
  if (!control) return refuseStart(control.error());
  takesCommands_ = true;
  for (posix::Descriptor& viewer : std::exchange(viewers_, {})) addViewer(std::move(viewer));
  process_->monitor().execute("cont", [this](const Result<>& result) { onStartReply(result); });
}

void Machine::onStartReply(const Result<>& result) {
  if (!result) return refuseStart(result.error());
  if (!is(MachineState::starting)) return;
  endChange(MachineState::starting, result);
  deliver(startDone_, {});
}

/// The end of the process fails the start.
void Machine::refuseStart(const PlatformError& error) {
  startError_ = "QEMU cannot start: " + error.description;
  process_->kill();
}

void Machine::connectDisplay(posix::Descriptor socket) {
  if (life_ == Life::over) return;
  if (!takesCommands_) return viewers_.push_back(std::move(socket));
  addViewer(std::move(socket));
}

void Machine::addViewer(posix::Descriptor socket) {
  process_->monitor().addViewer(std::move(socket), [this](const Result<>& result) {
    if (!result) warn_("cannot show the guest's display: " + result.error().description);
  });
}

bool Machine::move(MachineState from, MachineState to) {
  if (state_ != from) return false;
  state_ = to;
  return true;
}

void Machine::onQmpEvent(const QmpEvent& event) {
  if (event.name == "SHUTDOWN") {
    // The power-off after a panic is another SHUTDOWN; the first reason is the cause.
    if (!shutdownReason_) shutdownReason_ = event.data.text("reason").value_or("");
    state_ = MachineState::stopping;
  } else if (event.name == "STOP") {
    processorsRun_ = false;
    followProcessors();
  } else if (event.name == "RESUME") {
    diskErrorReported_ = false;
    resumed_ = processorsRun_ = true;
    followProcessors();
  } else if (event.name == "BLOCK_IO_ERROR") {
    onDiskError(event);
  }
}

/// QEMU also pauses the guest by itself, on a disk error. While a pause or a resumption is in
/// progress its events change no state: they come before or after the reply, which ends it.
void Machine::followProcessors() {
  if (!is(MachineState::running) && !is(MachineState::paused)) return;
  state_ = processorsRun_ ? MachineState::running : MachineState::paused;
}

/// Many requests can fail at once; one warning per pause is enough.
void Machine::onDiskError(const QmpEvent& event) {
  if (event.data.text("action") != "stop" || std::exchange(diskErrorReported_, true)) return;
  const std::string_view what = event.data.text("operation") == "write" ? "writing" : "reading";
  warn_("the guest is paused: " + std::string(what) + " its disk failed (" +
        std::string(event.data.text("reason").value_or("")) + "); resuming tries again");
}

void Machine::onNetworkLost(const platform::PlatformError& error) {
  later([this, error] {
    if (delegate_ != nullptr) delegate_->networkAttachmentDisconnected(error);
  });
}

void Machine::pause(Completion done) {
  if (!canPause()) return deliver(done, error("the machine is not running"));
  if (!process_->monitor().isOpen()) return deliver(done, error(monitorClosed));
  changePower(MachineState::pausing, "stop", std::move(done));
}

void Machine::resume(Completion done) {
  if (!canResume()) return deliver(done, error("the machine is not paused"));
  if (!process_->monitor().isOpen()) return deliver(done, error(monitorClosed));
  changePower(MachineState::resuming, "cont", std::move(done));
}

void Machine::changePower(MachineState change, std::string_view command, Completion done) {
  state_ = change;
  resumed_ = false;
  powerDone_ = std::move(done);
  process_->monitor().execute(command, [this, change](const Result<>& result) {
    endChange(change, result);
    deliver(powerDone_, result);
  });
}

/// Takes the reply to the command that began `change`. A machine that is stopping by then remains
/// so.
void Machine::endChange(MachineState change, const Result<>& result) {
  if (result && change == MachineState::pausing) processorsRun_ = false;
  // After RESUME, QEMU has also said whether a disk error has paused the guest again.
  if (result && change != MachineState::pausing && !resumed_) processorsRun_ = true;
  move(change, processorsRun_ ? MachineState::running : MachineState::paused);
}

Result<> Machine::requestStop() {
  if (!canRequestStop()) return error("the machine is not running");
  if (!process_->monitor().isOpen()) return error(monitorClosed);
  pressPowerButton();
  return {};
}

/// Firmware and early kernels ignore the power button: it is pressed every second until the guest
/// has shut down.
void Machine::pressPowerButton() {
  if (shutdownReason_ || !process_->monitor().isOpen() || is(MachineState::stopping)) return;
  if (!std::exchange(powerButtonHeld_, true)) {
    process_->monitor().execute("system_powerdown",
                                [this](const Result<>&) { powerButtonHeld_ = false; });
  }
  constexpr std::chrono::seconds interval{1};
  loop_.postDelayed(interval, whileAlive([this] {
                      if (process_) pressPowerButton();
                    }));
}

void Machine::stop(Completion done) {
  if (life_ != Life::alive) return deliver(done, error("the machine is stopped already"));
  // The end is reported once: the completion of a second stop never runs.
  if (stopDone_) return;
  stopDone_ = std::move(done);
  if (process_) endProcess();
  state_ = MachineState::stopping;
}

/// QEMU closes its end when it has closed its disks, shortly before it ends. If it runs on, nobody
/// can control it any more.
void Machine::onMonitorClosed() {
  constexpr std::chrono::seconds timeout{5};
  loop_.postDelayed(timeout, whileAlive([this] {
                      if (!process_) return;
                      abandoned_ = true;
                      process_->kill();
                    }));
}

/// Asks QEMU to quit, which closes its disks in order, and kills it after a timeout; the kernel has
/// what it has written by then.
void Machine::endProcess() {
  const bool takesCommands = !is(MachineState::starting) && process_->monitor().isOpen();
  if (takesCommands) process_->monitor().execute("quit", [](const Result<>&) {});
  if (!takesCommands && !shutdownReason_) return process_->kill();
  constexpr std::chrono::seconds timeout{2};
  loop_.postDelayed(timeout, whileAlive([this] {
                      if (process_) process_->kill();
                    }));
}

void Machine::onExit(const SubprocessExit& exit) {
  // With a status it has ended by itself after all.
  if (abandoned_ && !exit.exit.status) {
    return end(withMessage(std::string(monitorClosed) + ", and was killed", exit.lastMessage));
  }
  const bool wasStarting = startDone_ != nullptr && !shutdownReason_;
  if (wasStarting) return end(startError_.value_or(startError(exit)));
  end(endError(exit, shutdownReason_.value_or("")));
}

void Machine::end(const std::optional<std::string>& reason) {
  const bool hadStarted = startDone_ == nullptr || !reason;
  const bool wasAskedFor = stopDone_ != nullptr;
  life_ = Life::over;
  state_ = reason && !wasAskedFor ? MachineState::error : MachineState::stopped;
  if (powerDone_) deliver(powerDone_, error("the machine has ended"));
  deliverEnd(reason, hadStarted);
  viewers_.clear();
  process_.reset();
}

/// Reports exactly one of the four ends of a machine.
void Machine::deliverEnd(const std::optional<std::string>& reason, bool hadStarted) {
  if (stopDone_) {
    deliver(stopDone_, {});
  } else if (!hadStarted) {
    deliver(startDone_, error(reason.value_or("")));
  } else if (reason) {
    later([this, stopError = error(*reason).error()] {
      if (delegate_ != nullptr) delegate_->didStopWithError(stopError);
    });
  } else {
    later([this] {
      if (delegate_ != nullptr) delegate_->guestDidStop();
    });
  }
}

/// `work`, which does nothing once the machine has been destroyed.
platform::Work Machine::whileAlive(platform::Work work) const {
  return [work = std::move(work), alive = std::weak_ptr(alive_)] {
    if (!alive.expired()) work();
  };
}

void Machine::later(platform::Work work) { loop_.post(whileAlive(std::move(work))); }

void Machine::deliver(Completion& completion, Result<> result) {
  later([done = std::exchange(completion, nullptr), result = std::move(result)] { done(result); });
}

std::optional<std::string> endError(const SubprocessExit& end, std::string_view shutdownReason) {
  // With any other status QEMU may not have finished its last writes.
  const bool exitedWell = end.exit.status == 0;
  if (exitedWell && shutdownReason == "guest-shutdown") return std::nullopt;
  if (exitedWell && shutdownReason == "guest-panic") {
    return "the guest's operating system has crashed";
  }
  if (exitedWell && shutdownReason == "host-signal") {
    return withMessage("QEMU was asked to end by a signal", end.lastMessage);
  }
  return withMessage(exitText(end.exit), end.lastMessage);
}

std::string startError(const SubprocessExit& end) {
  if (end.foundImageInUse()) return guestInUse;
  // The message says more than the status.
  if (end.exit.status && !end.lastMessage.empty()) return "QEMU cannot start: " + end.lastMessage;
  return withMessage(exitText(end.exit), end.lastMessage) + " while it was starting";
}

}  // namespace parlen::qemu
