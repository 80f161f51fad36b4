#include "runner/vm_runner.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "events/error_code.h"
#include "events/event_stream.h"
#include "platform/platform.h"

namespace parlen {
namespace {

using platform::PlatformError;
using platform::Result;

/// The one way a run ends.
[[noreturn]] void end(bool crashed, std::string_view reason, int status) {
  emitStopped(crashed, reason);
  platform::system().process().exit(status);
}

/// A completion that hands its result to `continuation` in a loop iteration of its own. This second
/// post is wanted, although completions arrive on the main queue: what the host has queued by then
/// is handled first, and the order of the events depends on it.
platform::Completion onMainQueue(std::function<void(const Result<>&)> continuation) {
  return [continuation = std::move(continuation)](Result<> result) {
    platform::system().loop().post(
        [continuation, result = std::move(result)] { continuation(result); });
  };
}

/// The words in which a pause and a resume differ.
struct PowerChange {
  std::string_view code;
  std::string_view refused;
  std::string_view failed;
  std::string_view done;
};

constexpr PowerChange pausing{errorCode::pauseRefused, "cannot pause the guest: the VM is ",
                              "pausing the guest failed: ", "paused"};
constexpr PowerChange resuming{errorCode::resumeRefused, "cannot resume the guest: the VM is ",
                               "resuming the guest failed: ", "resumed"};

void refuse(const PowerChange& change, std::int64_t state) {
  emitError(change.code, std::string(change.refused) + describeVMState(state));
}

platform::Completion reportingTo(const PowerChange& change) {
  return onMainQueue([&change](const Result<>& result) {
    if (result) {
      emitGuestPower(change.done);
    } else {
      emitError(change.code, std::string(change.failed) + result.error().description);
    }
  });
}

}  // namespace

VMRunner::VMRunner(std::unique_ptr<platform::VirtualMachine> virtualMachine)
    : virtualMachine_(std::move(virtualMachine)), bootedAt_(platform::system().loop().now()) {
  virtualMachine_->setDelegate(this);
}

VMRunner::~VMRunner() { virtualMachine_->setDelegate(nullptr); }

void VMRunner::start() {
  emitState("starting");
  virtualMachine_->start(onMainQueue([this](const Result<>& result) { startCompleted(result); }));
}

void VMRunner::abandonStart(const PlatformError& error) {
  startAbandoned_ = true;
  platform::system().loop().post([this, error] {
    if (stopping_) return;  // the completion of the stop ends the run
    emitError(errorCode::bootFailed, error.description);
    end(/*crashed=*/true, error.description, 1);
  });
}

void VMRunner::startCompleted(const Result<>& result) {
  if (!result) {
    emitError(vmErrorCode(result.error()), result.error().description);
    end(/*crashed=*/true, result.error().description, 1);
  }
  sawRunning_ = true;
  emitState("running");
}

void VMRunner::requestStop() {
  if (stopping_) return;
  stopping_ = true;
  if (virtualMachine_->canRequestStop()) {
    const Result<> requested = virtualMachine_->requestStop();
    if (requested) return;  // the guest ends the run, whenever it likes
    warn("requestStop failed (" + requested.error().description + "); stopping hard");
  }
  forceStop();
}

void VMRunner::forceStop() {
  stopping_ = true;
  // Even a stop that failed counts as the orderly end that was asked for.
  virtualMachine_->stop([](const Result<>&) { end(/*crashed=*/false, "host requested stop", 0); });
}

void VMRunner::pauseGuest() {
  if (!virtualMachine_->canPause()) return refuse(pausing, virtualMachine_->state());
  virtualMachine_->pause(reportingTo(pausing));
}

void VMRunner::resumeGuest() {
  if (!virtualMachine_->canResume()) return refuse(resuming, virtualMachine_->state());
  virtualMachine_->resume(reportingTo(resuming));
}

void VMRunner::guestDidStop() {
  const auto seconds =
      std::chrono::duration_cast<std::chrono::seconds>(platform::system().loop().now() - bootedAt_);
  const std::string reason = std::string("guest stopped ") +
                             (stopping_ ? "after host stop request" : "on its own") + " after " +
                             std::to_string(seconds.count()) + "s (" +
                             (sawRunning_ ? "was running" : "never reached running") + ")";
  end(/*crashed=*/false, reason, 0);
}

void VMRunner::didStopWithError(const PlatformError& error) {
  emitError(vmErrorCode(error), error.description);
  end(/*crashed=*/!stopping_, error.description, stopping_ ? 0 : 1);
}

void VMRunner::networkAttachmentDisconnected(const PlatformError& error) {
  warn("network attachment disconnected (" + error.description + ")");
}

}  // namespace parlen
