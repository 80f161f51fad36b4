#include "observed_machine.h"

#include <algorithm>
#include <array>
#include <utility>

#include "events/error_code.h"

namespace parlen::explore {
namespace {

using platform::MachineState;
using platform::Result;

/// The changes of state that a machine may go through.
struct LegalChanges {
  MachineState from;
  std::vector<MachineState> to;
};

const std::vector<LegalChanges>& legalChanges() {
  using enum MachineState;
  static const std::vector<LegalChanges> table = {
      // Only before it has run.
      {stopped, {starting}},
      // The start completes (with a guest that a disk error has paused by then), a hard stop
      // begins,
      // the guest shuts down, the start fails.
      {starting, {running, paused, stopping, stopped, error}},
      // A disk error pauses the guest without a call.
      {running, {pausing, paused, stopping, stopped, error}},
      // A pause that fails leaves the guest running.
      {pausing, {paused, running, stopping, stopped, error}},
      {paused, {resuming, stopping, stopped, error}},
      // A resumption that fails, or that the next disk error undoes, leaves it paused.
      {resuming, {running, paused, stopping, stopped, error}},
      {stopping, {stopped, error}},
      // The machine may have entered the error state without an end; then it can be stopped.
      {error, {stopping, stopped}},
  };
  return table;
}

bool isLegal(MachineState from, MachineState to) {
  if (from == to) return true;
  const auto row = std::ranges::find(legalChanges(), from, &LegalChanges::from);
  return row != legalChanges().end() && std::ranges::find(row->to, to) != row->to.end();
}

}  // namespace

std::string wordOf(MachineState state) { return describeVMState(static_cast<std::int64_t>(state)); }

ObservedMachine::ObservedMachine(std::unique_ptr<platform::VirtualMachine> machine,
                                 MachineUnderTest& outside, Findings& findings)
    : outside_(outside), findings_(findings), machine_(std::move(machine)) {
  machine_->setDelegate(this);
}

void ObservedMachine::start(platform::Completion done) {
  call("start", &VirtualMachine::start, std::move(done));
}
void ObservedMachine::stop(platform::Completion done) {
  ++stops_.hard;
  call("stop", &VirtualMachine::stop, std::move(done));
}
void ObservedMachine::pause(platform::Completion done) {
  call("pause", &VirtualMachine::pause, std::move(done));
}
void ObservedMachine::resume(platform::Completion done) {
  call("resume", &VirtualMachine::resume, std::move(done));
}

Result<> ObservedMachine::requestStop() {
  ++stops_.requests;
  insideCall_ = true;
  auto requested = machine_->requestStop();
  insideCall_ = false;
  if (!requested) ++stops_.refused;
  outside_.called({"requestStop"}, calls_.size());
  return requested;
}

void ObservedMachine::call(const std::string& verb, Operation operation,
                           platform::Completion done) {
  const std::size_t number = calls_.size();
  calls_.push_back({verb});
  insideCall_ = true;
  (machine_.get()->*operation)([this, number, done = std::move(done)](Result<> result) {
    complete(number, result);
    if (delegate_ != nullptr) done(std::move(result));
  });
  insideCall_ = false;
  outside_.called(calls_[number], number);
}

void ObservedMachine::complete(std::size_t number, const Result<>& result) {
  Call& call = calls_[number];
  if (insideCall_) finding(call.verb + " has completed from inside a call");
  if (call.result) finding(call.verb + " has completed twice");
  if (!end_.empty() && result) finding(call.verb + " has completed after the machine's end");
  const std::string disproof = outside_.disproof(call, number, result);
  if (!disproof.empty()) finding(call.verb + " has completed, but " + disproof);
  call.result = result;
  if (call.verb == "start" && !result) ended("start failed");
  if (call.verb == "stop" && end_.empty()) ended("stopped hard");
}

void ObservedMachine::ended(const std::string& how) {
  if (insideCall_) finding("the machine has ended from inside a call");
  if (!end_.empty()) finding("the machine has ended twice: " + end_ + ", then " + how);
  end_ = how;
  const MachineState state = machineState();
  if (state != MachineState::stopped && state != MachineState::error) {
    finding("the machine has ended and is " + wordOf(state));
  }
}

void ObservedMachine::guestDidStop() {
  ended("guest stopped");
  if (delegate_ != nullptr) delegate_->guestDidStop();
}

void ObservedMachine::didStopWithError(const platform::PlatformError& error) {
  ended("stopped with an error");
  if (delegate_ != nullptr) delegate_->didStopWithError(error);
}

void ObservedMachine::networkAttachmentDisconnected(const platform::PlatformError& error) {
  if (delegate_ != nullptr) delegate_->networkAttachmentDisconnected(error);
}

MachineState ObservedMachine::machineState() const {
  return static_cast<MachineState>(machine_->state());
}

void ObservedMachine::checkState() {
  const MachineState state = machineState();
  const bool startsAgain = state == MachineState::starting && started_;
  if (startsAgain || !isLegal(lastState_, state)) {
    finding("the machine was " + wordOf(lastState_) + " and is " + wordOf(state));
  }
  if (canPause() != (state == MachineState::running) ||
      canResume() != (state == MachineState::paused)) {
    finding("what is possible does not fit a machine that is " + wordOf(state));
  }
  started_ = started_ || (state != MachineState::starting && state != MachineState::stopped);
  lastState_ = state;
}

std::string ObservedMachine::fingerprint() const {
  constexpr std::array verbs = {"start", "pause", "resume", "stop"};
  std::string text = std::to_string(machine_->state()) + (stops_.requests > 0 ? " asked" : "") +
                     (end_.empty() ? "" : " over");
  for (const char* verb : verbs) {
    const auto pending = std::ranges::count_if(
        calls_, [&](const Call& call) { return call.verb == verb && !call.result; });
    text.append(" ").append(verb).append(std::to_string(pending));
  }
  return text;
}

}  // namespace parlen::explore
