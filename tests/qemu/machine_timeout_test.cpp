#include <gmock/gmock.h>
#include <signal.h>

#include <chrono>
#include <memory>
#include <string_view>
#include <utility>

#include "platform/linux/event_loop.h"
#include "platform/linux/socket_pair.h"
#include "platform/qemu/machine.h"
#include "support/machine_story.h"
#include "support/posix_fixtures.h"
#include "support/test_system.h"

namespace parlen::qemu {
namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::IsEmpty;

/// A machine whose QEMU is the test: its control socket is real, its process is not, and time is
/// virtual.
class MachineTimeoutTest : public testing::Test {
 protected:
  class FakeQemu : public QemuProcess {
   public:
    FakeQemu(linux::EventLoop& loop, posix::Descriptor socket, QmpClient::Handlers handlers,
             bool& killed)
        : monitor_(loop, std::move(socket), std::move(handlers)), killed_(killed) {}
    QmpClient& monitor() override { return monitor_; }
    void kill() override { killed_ = true; }

   private:
    QmpClient monitor_;
    bool& killed_;
  };

  MachineTimeoutTest() {
    machine_.setDelegate(&story_);
    machine_.start(story_.tell("started"));
  }

  void say(std::string_view messages) {
    test::send(qemu_.get(), messages);
    pump();
  }
  void closeMonitor() {
    qemu_.close();
    pump();
  }
  void run() {
    say("{\"QMP\":{}}\n{\"return\":{},\"id\":1}\n{\"return\":{},\"id\":2}\n");
    clock_.runUntilIdle();
    EXPECT_THAT(story_.happened, ElementsAre("started"));
  }
  void exit(const linux::ChildExit& exit) {
    const auto onExit = std::move(onExit_);
    onExit({.exit = exit, .lastMessage = ""});
    clock_.runUntilIdle();
  }

  test::VirtualLoop clock_;
  test::MachineStory story_;
  bool killed_ = false;

 private:
  /// One iteration of the loop that watches the socket.
  void pump() {
    loop_.post(test::leaveLoop);
    test::serve(loop_);
  }
  platform::Result<std::unique_ptr<QemuProcess>> launch(QemuProcess::Handlers handlers) {
    auto sockets = linux::makeSocketPair().value();
    qemu_ = std::move(sockets.theirs);
    onExit_ = std::move(handlers.onExit);
    return std::make_unique<FakeQemu>(loop_, std::move(sockets.ours), std::move(handlers.monitor),
                                      killed_);
  }

  linux::EventLoop loop_;
  posix::Descriptor qemu_;
  Subprocess::ExitHandler onExit_;

 protected:
  Machine machine_{clock_,
                   [](std::string_view) {},
                   {},
                   [this](const platform::MachineConfiguration&, QemuProcess::Handlers handlers) {
                     return launch(std::move(handlers));
                   }};
};

constexpr linux::ChildExit ended{.status = 0};
constexpr linux::ChildExit killed{.status = std::nullopt, .signal = SIGKILL};
constexpr std::string_view powerOff =
    R"({"event":"SHUTDOWN","data":{"guest":true,"reason":"guest-shutdown"}})"
    "\n";

TEST_F(MachineTimeoutTest, KillsAQemuThatClosesItsMonitorAndRunsOn) {
  run();
  closeMonitor();

  clock_.advance(milliseconds(4999));
  EXPECT_FALSE(killed_);
  clock_.advance(milliseconds(1));
  EXPECT_TRUE(killed_);

  EXPECT_THAT(story_.happened, ElementsAre("started"));
  exit(killed);
  EXPECT_THAT(story_.happened, ElementsAre("started", "stopped with an error"));
  EXPECT_EQ(story_.lastError, "QEMU does not listen any more, and was killed");
}

TEST_F(MachineTimeoutTest, FailsToStartIfTheMonitorIsClosedAndQemuRunsOn) {
  closeMonitor();

  clock_.advance(milliseconds(5000));
  EXPECT_TRUE(killed_);

  exit(killed);
  EXPECT_THAT(story_.happened, ElementsAre("started failed"));
  EXPECT_EQ(story_.lastError, "QEMU does not listen any more, and was killed");
}

TEST_F(MachineTimeoutTest, BelievesAQemuThatEndsByItselfAfterAll) {
  run();
  say(powerOff);
  closeMonitor();
  clock_.advance(milliseconds(5000));
  EXPECT_TRUE(killed_);

  exit(ended);

  EXPECT_THAT(story_.happened, ElementsAre("started", "guest stopped"));
}

TEST_F(MachineTimeoutTest, KillsNoQemuThatEndsInTime) {
  run();
  closeMonitor();
  clock_.advance(milliseconds(100));

  exit({.status = 1});
  clock_.advance(milliseconds(10000));

  EXPECT_FALSE(killed_);
  EXPECT_THAT(story_.happened, ElementsAre("started", "stopped with an error"));
  EXPECT_EQ(story_.lastError, "QEMU has ended with status 1");
}

TEST_F(MachineTimeoutTest, CompletesAHardStopOfAQemuWithoutAMonitor) {
  run();
  closeMonitor();

  machine_.stop(story_.tell("stopped"));
  EXPECT_TRUE(killed_);

  exit(killed);
  EXPECT_THAT(story_.happened, ElementsAre("started", "stopped"));
}

}  // namespace
}  // namespace parlen::qemu
