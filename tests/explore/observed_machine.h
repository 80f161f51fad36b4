#pragma once

#include <memory>
#include <string>
#include <vector>

#include "machine_under_test.h"
#include "platform/virtual_machine.h"

namespace parlen::explore {

/// What was found to be wrong. The first finding is the one that counts.
using Findings = std::vector<std::string>;

/// How often a machine was stopped, and how.
struct Stops {
  int requests = 0;  // by the guest
  int refused = 0;   // of these
  int hard = 0;

  bool operator==(const Stops&) const = default;
};

/// Stands between a machine and its runner, and holds the machine to its interface: each completion
/// once, in a later loop iteration and for its own call, at most one end, legal changes of state.
class ObservedMachine final : public platform::VirtualMachine,
                              private platform::VirtualMachineDelegate {
 public:
  ObservedMachine(std::unique_ptr<platform::VirtualMachine> machine, MachineUnderTest& outside,
                  Findings& findings);

  void setDelegate(platform::VirtualMachineDelegate* delegate) override { delegate_ = delegate; }
  std::int64_t state() const override { return machine_->state(); }
  void start(platform::Completion done) override;
  bool canRequestStop() const override { return machine_->canRequestStop(); }
  platform::Result<> requestStop() override;
  void stop(platform::Completion done) override;
  bool canPause() const override { return machine_->canPause(); }
  void pause(platform::Completion done) override;
  bool canResume() const override { return machine_->canResume(); }
  void resume(platform::Completion done) override;

  platform::MachineState machineState() const;
  const std::vector<Call>& calls() const { return calls_; }
  const Stops& stops() const { return stops_; }
  /// How the machine has ended: "start failed", "stopped hard", "guest stopped", "stopped with an
  /// error". Empty while it has not.
  const std::string& end() const { return end_; }

  /// The process has ended: from now on nothing is told to the runner, but the machine is still
  /// held to its interface.
  void detach() { delegate_ = nullptr; }

  /// After each step: whether the change of state was legal.
  void checkState();
  std::string fingerprint() const;

 private:
  using Operation = void (platform::VirtualMachine::*)(platform::Completion);

  void call(const std::string& verb, Operation operation, platform::Completion done);
  void complete(std::size_t number, const platform::Result<>& result);
  void ended(const std::string& how);
  void finding(std::string what) { findings_.push_back(std::move(what)); }

  void guestDidStop() override;
  void didStopWithError(const platform::PlatformError& error) override;
  void networkAttachmentDisconnected(const platform::PlatformError& error) override;

  MachineUnderTest& outside_;
  Findings& findings_;
  platform::VirtualMachineDelegate* delegate_ = nullptr;  // null: nobody is told anything
  std::vector<Call> calls_;
  bool insideCall_ = false;
  Stops stops_;
  std::string end_;
  platform::MachineState lastState_ = platform::MachineState::stopped;
  bool started_ = false;  // has been in another state than stopped and starting
  std::unique_ptr<platform::VirtualMachine> machine_;  // last: destroyed before what it calls
};

std::string wordOf(platform::MachineState state);

}  // namespace parlen::explore
