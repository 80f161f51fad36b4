#pragma once

#import <Virtualization/Virtualization.h>

#include <memory>

#include "platform/virtual_machine.h"

@class ParlenMachineDelegate;

namespace parlen::macos {

/// Lets the first of a machine's possible ends through, and none after it. Whether the framework
/// also calls its delegate once a hard stop has completed is written nowhere.
class FirstEnd {
 public:
  bool claim() { return !std::exchange(claimed_, true); }

 private:
  bool claimed_ = false;
};

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
  std::shared_ptr<FirstEnd> end_ = std::make_shared<FirstEnd>();
  ParlenMachineDelegate* delegate_;  // the machine's reference to it is weak
};

}  // namespace parlen::macos
