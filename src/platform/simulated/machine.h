#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "platform/host.h"
#include "platform/machine_configuration.h"
#include "platform/simulated/world.h"
#include "platform/virtual_machine.h"

namespace parlen::simulated {

/// A machine that runs no guest: it goes through a machine's states as the scenario says. It can be
/// started once; a second start aborts the process.
class Machine : public platform::VirtualMachine {
 public:
  Machine(std::shared_ptr<World> world, platform::MachineConfiguration configuration);

  void setDelegate(platform::VirtualMachineDelegate* delegate) override { delegate_ = delegate; }
  std::int64_t state() const override { return static_cast<std::int64_t>(state_); }
  void start(platform::Completion done) override;
  bool canRequestStop() const override;
  platform::Result<> requestStop() override;
  void stop(platform::Completion done) override;
  bool canPause() const override { return state_ == State::running; }
  void pause(platform::Completion done) override;
  bool canResume() const override { return state_ == State::paused; }
  void resume(platform::Completion done) override;

  const platform::MachineConfiguration& configuration() const { return configuration_; }
  /// Whether an installer may use the machine: it was never started.
  bool isUnused() const { return life_ == Life::unused; }
  /// Reserves the machine for an installer: from now on a start aborts the process.
  void beginInstallation() { life_ = Life::installing; }

 private:
  using State = platform::MachineState;
  enum class Life { unused, installing, alive, over };
  struct Transition;

  void finishStart(const platform::Completion& done);
  platform::Result<> checkFiles() const;
  void finishStop(const platform::Completion& done);
  void runTransition(const Transition& transition, platform::Completion done);
  void finishTransition(const Transition& transition, const platform::Completion& done);
  void finishShutdown();
  void fillDisk(const platform::PlatformError& error);
  void holdLater();
  void holdIfDiskIsFull();
  void runScriptEntry(const ScriptEntry& entry);
  void end(State state);
  bool isAlive() const { return life_ == Life::alive; }

  std::shared_ptr<World> world_;
  platform::MachineConfiguration configuration_;
  platform::VirtualMachineDelegate* delegate_ = nullptr;
  State state_ = State::stopped;
  Life life_ = Life::unused;
  bool shutdownHeldUp_ = false;  // fell due while the guest was paused or resuming
  OptionalError diskError_;      // how the guest's writes fail; nullopt: they do not
  Timers timers_;                // last: cancelled before the other members are destroyed
};

/// Opens the files of a machine, checks its configuration against the scenario's limits, makes it.
class MachineFactory : public platform::MachineFactory {
 public:
  explicit MachineFactory(std::shared_ptr<World> world) : world_(std::move(world)) {}

  std::shared_ptr<const platform::AuxiliaryStorage> openAuxiliaryStorage(
      const std::string& path) override;
  platform::Result<std::shared_ptr<const platform::AuxiliaryStorage>> createAuxiliaryStorage(
      const std::string& path, const platform::HardwareModel& model) override;
  platform::Result<std::shared_ptr<const platform::DiskAttachment>> attachDisk(
      const std::string& path, bool readOnly) override;
  std::string automountTag() override { return "parlen-simulated-automount"; }
  platform::Result<> validate(const platform::MachineConfiguration& configuration) override;
  std::unique_ptr<platform::VirtualMachine> createMachine(
      const platform::MachineConfiguration& configuration) override;

 private:
  std::shared_ptr<World> world_;
};

}  // namespace parlen::simulated
