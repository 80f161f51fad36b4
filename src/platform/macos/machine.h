#pragma once

#import <Virtualization/Virtualization.h>

#include <memory>
#include <string>
#include <utility>

#include "platform/host.h"
#include "platform/virtual_machine.h"

@class ParlenMachineDelegate;

namespace parlen::macos {

class MachineLife;

/// A machine on the main queue: all calls and all callbacks are on the main thread. Destroying it
/// ends its guest at once; afterwards no callback arrives.
class Machine final : public platform::VirtualMachine {
 public:
  /// `machine` must use the main queue.
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
  std::shared_ptr<MachineLife> life_;
  ParlenMachineDelegate* delegate_;  // VZVirtualMachine's own reference to it is weak
};

/// Makes machines and what they are configured with. Underlying errors go to the sink.
class MachineFactory final : public platform::MachineFactory {
 public:
  explicit MachineFactory(platform::WarningSink warn) : warn_(std::move(warn)) {}

  std::shared_ptr<const platform::AuxiliaryStorage> openAuxiliaryStorage(
      const std::string& path) override;
  platform::Result<std::shared_ptr<const platform::AuxiliaryStorage>> createAuxiliaryStorage(
      const std::string& path, const platform::HardwareModel& model) override;
  platform::Result<std::shared_ptr<const platform::DiskAttachment>> attachDisk(
      const std::string& path, bool readOnly) override;
  std::string automountTag() override;
  platform::Result<> validate(const platform::MachineConfiguration& configuration) override;
  std::unique_ptr<platform::VirtualMachine> createMachine(
      const platform::MachineConfiguration& configuration) override;

 private:
  platform::WarningSink warn_;
};

}  // namespace parlen::macos
