#include "runner/vm_runner.h"

#include <gtest/gtest.h>

#include "control/commands.h"
#include "events/event_stream.h"
#include "support/event_lines.h"
#include "support/test_system.h"

namespace parlen::test {
namespace {

using Lines = std::vector<std::string>;
using platform::Completion;
using platform::MachineState;

/// A machine that breaks the rule that completions come in a later loop iteration.
class HastyMachine : public platform::VirtualMachine {
 public:
  void setDelegate(platform::VirtualMachineDelegate*) override {}
  std::int64_t state() const override { return static_cast<std::int64_t>(state_); }
  void start(Completion done) override { become(MachineState::running, done); }
  bool canRequestStop() const override { return false; }
  platform::Result<> requestStop() override { return {}; }
  void stop(Completion done) override { become(MachineState::stopped, done); }
  bool canPause() const override { return state_ == MachineState::running; }
  void pause(Completion done) override { become(MachineState::paused, done); }
  bool canResume() const override { return state_ == MachineState::paused; }
  void resume(Completion done) override { become(MachineState::running, done); }

 private:
  void become(MachineState state, const Completion& done) {
    state_ = state;
    done({});
  }

  MachineState state_ = MachineState::stopped;
};

class VMRunnerTest : public testing::Test {
 protected:
  VMRunnerTest() {
    platform::usePlatform(&system_, nullptr);
    outputQueue = system_.makeSerialQueue("test");
    runner_ = std::make_unique<VMRunner>(std::make_unique<HastyMachine>());
  }
  ~VMRunnerTest() override {
    runner_.reset();
    outputQueue.reset();
    platform::usePlatform(nullptr, nullptr);
  }

  Lines lines() { return system_.streams().lines(); }

  TestSystem system_;
  std::unique_ptr<VMRunner> runner_;
};

TEST_F(VMRunnerTest, GoesOnBehindAStartInALaterLoopIteration) {
  runner_->start();
  EXPECT_EQ(lines(), Lines{starting});
  system_.loop().runUntilIdle();
  EXPECT_EQ(lines(), (Lines{starting, running}));
}

TEST_F(VMRunnerTest, AnswersBehindTheCommandsOfOneChunk) {
  runner_->start();
  system_.loop().runUntilIdle();
  runner_->pauseGuest();
  runner_->pauseGuest();
  runner_->resumeGuest();
  EXPECT_EQ(lines(), (Lines{starting, running,
                            error("pause-refused", "cannot pause the guest: the VM is paused")}));
  system_.loop().runUntilIdle();
  EXPECT_EQ(lines(), (Lines{starting, running,
                            error("pause-refused", "cannot pause the guest: the VM is paused"),
                            paused, resumed}));
}

}  // namespace
}  // namespace parlen::test
