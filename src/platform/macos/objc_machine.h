#pragma once

#import <Virtualization/Virtualization.h>

#include <memory>
#include <utility>

#include "platform/virtual_machine.h"

@class ParlenMachineDelegate;

namespace parlen::macos {

/// One machine's life, as far as its callbacks need it: they hold it weakly, and find it gone once
/// the machine has been destroyed.
class MachineLife {
 public:
  /// Whether an end of the machine is the first, the only one to be reported. Whether the framework
  /// also calls its delegate once a hard stop has completed is written nowhere.
  bool claimEnd() { return !std::exchange(ended_, true); }

 private:
  bool ended_ = false;
};

/// A machine that is destroyed ends its guest at once and calls nobody any more.
class Machine final : public platform::VirtualMachine {
 public:
  Machine(VZVirtualMachine* machine, platform::WarningSink warn);
  ~Machine() override;
  Machine(const Machine&) = delete;
  Machine& operator=(const Machine&) = delete;

  VZVirtualMachine* object() const { return machine_; }

  void setDelegate(platform::VirtualMachineDelegate* delegate) override;
  std::int64_t state() const override;
  void start(platform::Completion done) override;
  bool canRequestStop() const override;
  platform::Result<> requestStop() override;
  void stop(platform::Completion done) override;
  bool canPause() const override;
  void pause(platform::Completion done) override;
  bool canResume() const override;
  void resume(platform::Completion done) override;

 private:
  VZVirtualMachine* machine_;
  platform::WarningSink warn_;
  std::shared_ptr<MachineLife> life_ = std::make_shared<MachineLife>();
  ParlenMachineDelegate* delegate_;  // the machine's reference to it is weak
};

}  // namespace parlen::macos
