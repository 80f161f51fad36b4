#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host_fixture.h"
#include "platform/posix/descriptor.h"
#include "support/environment_variable.h"

namespace parlen::qemu {
namespace {

using platform::MachineState;
using test::MachineStory;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/// Machines whose emulator is a shell script, to see what a real guest does once in a thousand
/// runs. Descriptor 3 is the script's end of the control socket. A script that calls `hold` does
/// not go on before the test has called `runUntilHeld` and `release`.
class ScriptedMachineTest : public HostTest {
 protected:
  /// The script says the greeting, answers the handshake and goes on with `rest`, whose first
  /// command is the one that resumes the guest.
  std::unique_ptr<platform::VirtualMachine> scriptedMachine(const std::string& rest) {
    return machineWithEmulator(std::string(talk) + "say '{\"QMP\": {}}'\nanswer\n" + rest);
  }

  static constexpr std::string_view talk = R"(#!/bin/sh
say() { printf '%s\r\n' "$1" >&3; }
hear() { read -r command <&3; id=${command##*:}; id=${id%\}}; }
accept() { say "{\"return\": {}, \"id\": $id}"; }
refuse() { say "{\"error\": {\"class\": \"GenericError\", \"desc\": \"not now\"}, \"id\": $id}"; }
answer() { hear; accept; }
shut_down() {
  say '{"event": "SHUTDOWN", "data": {"guest": true, "reason": "guest-shutdown"}}'
}
hold() { : >"$0.held"; read -r word <"$0.release"; }
)";

  std::unique_ptr<platform::VirtualMachine> machineWithEmulator(const std::string& script) {
    const std::string folder = "machine" + std::to_string(++machines_);
    auto configuration = makeGuest(folder);
    const std::string emulator =
        path(folder + "/" + std::string(boardFor(thisHost().architecture)->emulator));
    EXPECT_TRUE(files().replace(emulator, script));
    EXPECT_EQ(::chmod(emulator.c_str(), 0755), 0);
    held_ = emulator + ".held";
    const std::string fifo = emulator + ".release";
    EXPECT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    release_ = posix::Descriptor(::open(fifo.c_str(), O_RDWR | O_CLOEXEC));
    searchPath_.emplace(path(folder) + ":/usr/bin:/bin");
    auto machine = machineOf(configuration, story);
    machine->start(story.tell("started"));
    return machine;
  }

  void runUntilState(const platform::VirtualMachine& machine, MachineState state) {
    runUntil([&] { return machine.state() == static_cast<std::int64_t>(state); });
  }
  void runUntilHappened(std::size_t count) {
    runUntil([this, count] { return story.happened.size() >= count; });
  }
  /// Until the script is in `hold` and the machine has handled all that the script said before.
  void runUntilHeld() {
    runUntil([this] { return files().remove(held_).has_value(); });
    int iterations = 5;
    runUntil([&iterations] { return --iterations == 0; });
  }
  void release() { EXPECT_EQ(::write(release_.get(), "\n", 1), 1); }
  static MachineState stateOf(const platform::VirtualMachine& machine) {
    return static_cast<MachineState>(machine.state());
  }
  /// Without the one about emulation, which depends on the machine.
  std::vector<std::string> diskWarnings() const {
    std::vector<std::string> found;
    for (const std::string& warning : warnings()) {
      if (warning.find("disk") != std::string::npos) found.push_back(warning);
    }
    return found;
  }

  static constexpr const char* powerOff = "shut_down; exit 0";

  MachineStory story;

 private:
  std::optional<test::PathVariable> searchPath_;
  int machines_ = 0;
  std::string held_;
  posix::Descriptor release_{-1};
};

TEST_F(ScriptedMachineTest, WarnsOnceForEachPauseByADiskError) {
  const auto machine = scriptedMachine(R"(
    fail() {
      for i in 1 2 3; do
        say '{"event": "BLOCK_IO_ERROR", "data": {"operation": "write", "action": "stop", '\
'"nospace": true, "reason": "No space left on device"}}'
      done
      say '{"event": "STOP"}'
    }
    answer
    fail
    answer; say '{"event": "RESUME"}'
    fail
    answer; say '{"event": "RESUME"}'
    )" + std::string(powerOff));
  runUntilState(*machine, MachineState::paused);
  EXPECT_TRUE(machine->canResume());
  machine->resume(story.tell("resumed"));
  runUntilHappened(2);
  runUntilState(*machine, MachineState::paused);

  machine->resume(story.tell("resumed"));
  runUntilHappened(4);

  EXPECT_THAT(story.happened, ElementsAre("started", "resumed", "resumed", "guest stopped"));
  const std::string warning =
      "the guest is paused: writing its disk failed (No space left on device); resuming tries "
      "again";
  EXPECT_THAT(diskWarnings(), ElementsAre(warning, warning));
}

TEST_F(ScriptedMachineTest, StopsWhilePausedByADiskError) {
  const auto machine = scriptedMachine(R"(
    answer
    say '{"event": "BLOCK_IO_ERROR", "data": {"operation": "read", "action": "stop", "reason": "x"}}'
    say '{"event": "STOP"}'
    answer
    say '{"event": "SHUTDOWN", "data": {"guest": false, "reason": "host-qmp-quit"}}'
    case "$command" in *quit*) exit 0;; esac
    exit 1)");
  runUntilState(*machine, MachineState::paused);

  machine->stop(story.tell("stopped"));
  runUntilHappened(2);

  EXPECT_THAT(story.happened, ElementsAre("started", "stopped"));
  EXPECT_THAT(diskWarnings(), ElementsAre(HasSubstr("reading its disk failed (x)")));
}

TEST_F(ScriptedMachineTest, EndsWithAnErrorWhenTheGuestPanics) {
  const auto machine = scriptedMachine(R"(
    answer
    say '{"event": "GUEST_PANICKED", "data": {"action": "poweroff"}}'
    say '{"event": "SHUTDOWN", "data": {"guest": true, "reason": "guest-panic"}}'
    exit 0)");

  runUntilHappened(2);

  EXPECT_THAT(story.happened, ElementsAre("started", "stopped with an error"));
  EXPECT_EQ(story.lastError, "the guest's operating system has crashed");
}

TEST_F(ScriptedMachineTest, RunsOnWhenTheGuestReboots) {
  const auto machine = scriptedMachine(R"(
    answer
    say '{"event": "RESET", "data": {"guest": true, "reason": "guest-reset"}}'
    say '{"event": "STOP"}'
    read -r end <&3)");

  runUntilState(*machine, MachineState::paused);  // the event behind the reset has been heard
  runUntilHappened(1);

  EXPECT_THAT(story.happened, ElementsAre("started"));
}

TEST_F(ScriptedMachineTest, ReportsAShutdownBeforeTheStartCompletes) {
  const auto machine = scriptedMachine(powerOff);

  runUntilHappened(1);

  EXPECT_THAT(story.happened, ElementsAre("guest stopped"));
}

TEST_F(ScriptedMachineTest, FailsToStartIfQemuCannotResumeTheGuest) {
  const auto machine = scriptedMachine(R"(
    read -r command <&3
    case "$command" in *cont*) ;; *) exit 1;; esac
    say '{"error": {"class": "GenericError", "desc": "no power"}, "id": 2}'
    read -r end <&3)");

  runUntilHappened(1);

  EXPECT_THAT(story.happened, ElementsAre("started failed"));
  EXPECT_EQ(story.lastError, "QEMU cannot start: no power");
}

TEST_F(ScriptedMachineTest, PressesThePowerButtonUntilTheGuestIsGone) {
  const auto machine = scriptedMachine(R"(
    answer
    for press in first second; do
      answer
      case "$command" in *system_powerdown*) ;; *) exit 1;; esac
    done
    )" + std::string(powerOff));
  runUntilHappened(1);

  EXPECT_TRUE(machine->requestStop());
  runUntilHappened(2);

  EXPECT_THAT(story.happened, ElementsAre("started", "guest stopped"));
}

TEST_F(ScriptedMachineTest, ReportsAnErrorIfQemuQuitsByItself) {
  const auto machine = scriptedMachine(R"(
    answer
    say '{"event": "SHUTDOWN", "data": {"guest": false, "reason": "host-error"}}'
    echo 'the reason' >&2
    exit 0)");

  runUntilHappened(2);

  EXPECT_THAT(story.happened, ElementsAre("started", "stopped with an error"));
  EXPECT_EQ(story.lastError, "QEMU has ended with status 0: the reason");
}

TEST_F(ScriptedMachineTest, ReportsAnErrorIfQemuDiesAfterAShutdown) {
  const auto machine = scriptedMachine(R"(
    answer
    say '{"event": "SHUTDOWN", "data": {"guest": true, "reason": "guest-shutdown"}}'
    kill -KILL $$)");

  runUntilHappened(2);

  EXPECT_THAT(story.happened, ElementsAre("started", "stopped with an error"));
  EXPECT_EQ(story.lastError, "QEMU was ended by signal 9 (Killed)");
}

TEST_F(ScriptedMachineTest, FailsToStartWithWhatQemuSaidLast) {
  const auto machine =
      machineWithEmulator("#!/bin/sh\necho \"${0##*/}: no such device\" >&2; exit 1\n");

  runUntilHappened(1);

  EXPECT_THAT(story.happened, ElementsAre("started failed"));
  EXPECT_EQ(story.lastError, "QEMU cannot start: no such device");
}

TEST_F(ScriptedMachineTest, StopsBeforeQemuSaysAnything) {
  const auto machine = machineWithEmulator("#!/bin/sh\nread -r end <&3\n");

  machine->stop(story.tell("stopped"));
  runUntilHappened(1);

  EXPECT_THAT(story.happened, ElementsAre("stopped"));
  EXPECT_THAT(children(), IsEmpty());
}

TEST_F(ScriptedMachineTest, FailsItsStartIfQemuRefusesToBeControlled) {
  for (const std::string answers : {"refuse", "accept; hear; refuse"}) {
    const std::size_t before = story.happened.size();
    const auto machine = machineWithEmulator(std::string(talk) + "say '{\"QMP\": {}}'; hear; " +
                                             answers + "; read -r end <&3");
    runUntilHappened(before + 1);

    EXPECT_EQ(story.happened.back(), "started failed") << answers;
    EXPECT_EQ(story.lastError, "QEMU cannot start: not now") << answers;
  }
}

TEST_F(ScriptedMachineTest, FailsAPauseThatQemuRefuses) {
  const auto machine = scriptedMachine("answer; hear; refuse; read -r end <&3");
  runUntilHappened(1);

  machine->pause(story.tell("pause"));
  runUntilHappened(2);

  EXPECT_THAT(story.happened, ElementsAre("started", "pause failed"));
  EXPECT_EQ(story.lastError, "not now");
  EXPECT_EQ(stateOf(*machine), MachineState::running);
}

TEST_F(ScriptedMachineTest, PausesUntilTheReplyWhateverEventsSay) {
  const auto machine = scriptedMachine(R"(
    answer
    hear; say '{"event": "STOP"}'; hold; accept
    read -r end <&3)");
  runUntilHappened(1);

  machine->pause(story.tell("paused"));
  runUntilHeld();
  EXPECT_EQ(stateOf(*machine), MachineState::pausing);
  EXPECT_FALSE(machine->canResume());
  machine->resume(story.tell("resume"));
  runUntilHappened(2);
  EXPECT_EQ(stateOf(*machine), MachineState::pausing);
  release();
  runUntilHappened(3);

  EXPECT_THAT(story.happened, ElementsAre("started", "resume failed", "paused"));
  EXPECT_EQ(stateOf(*machine), MachineState::paused);
}

TEST_F(ScriptedMachineTest, ResumesUntilTheReplyWhateverEventsSay) {
  const auto machine = scriptedMachine(R"(
    answer
    hear; say '{"event": "STOP"}'; accept
    hear; say '{"event": "RESUME"}'; hold; accept
    read -r end <&3)");
  runUntilHappened(1);
  machine->pause(story.tell("paused"));
  runUntilHappened(2);

  machine->resume(story.tell("resumed"));
  runUntilHeld();
  EXPECT_EQ(stateOf(*machine), MachineState::resuming);
  EXPECT_FALSE(machine->canPause());
  machine->pause(story.tell("pause"));
  runUntilHappened(3);
  release();
  runUntilHappened(4);

  EXPECT_THAT(story.happened, ElementsAre("started", "paused", "pause failed", "resumed"));
  EXPECT_EQ(stateOf(*machine), MachineState::running);
}

TEST_F(ScriptedMachineTest, IgnoresEventsThatComeAfterTheirReplies) {
  const auto machine = scriptedMachine(R"(
    answer
    hear; accept
    hear; say '{"event": "STOP"}'; hold; accept; hold; say '{"event": "RESUME"}'; hold
    read -r end <&3)");
  runUntilHappened(1);
  machine->pause(story.tell("paused"));
  runUntilHappened(2);
  EXPECT_EQ(stateOf(*machine), MachineState::paused);

  machine->resume(story.tell("resumed"));
  runUntilHeld();
  EXPECT_EQ(stateOf(*machine), MachineState::resuming);
  release();
  runUntilHeld();
  EXPECT_EQ(stateOf(*machine), MachineState::running);
  release();
  runUntilHeld();

  EXPECT_THAT(story.happened, ElementsAre("started", "paused", "resumed"));
  EXPECT_EQ(stateOf(*machine), MachineState::running);
}

TEST_F(ScriptedMachineTest, IsPausedIfADiskFailsDuringAPause) {
  for (const std::string reply : {"accept", "refuse"}) {
    const auto machine = scriptedMachine("answer; hear; say '{\"event\": \"STOP\"}'; " + reply +
                                         "; read -r end <&3");
    runUntilHappened(1);

    machine->pause(story.tell("pause"));
    runUntilHappened(2);

    EXPECT_THAT(story.happened,
                ElementsAre("started", reply == "accept" ? "pause" : "pause failed"));
    EXPECT_EQ(stateOf(*machine), MachineState::paused);
    story.happened.clear();
  }
}

TEST_F(ScriptedMachineTest, IsPausedIfADiskFailsAgainDuringAResumption) {
  const auto machine = scriptedMachine(R"(
    answer
    say '{"event": "STOP"}'
    hear; say '{"event": "RESUME"}'; say '{"event": "STOP"}'; accept
    hear; refuse
    hear; say '{"event": "RESUME"}'; accept
    read -r end <&3)");
  runUntilState(*machine, MachineState::paused);

  for (const std::size_t count : {std::size_t{2}, std::size_t{3}}) {
    machine->resume(story.tell("resumed"));
    runUntilHappened(count);
    EXPECT_EQ(stateOf(*machine), MachineState::paused);
  }
  machine->resume(story.tell("resumed"));
  runUntilHappened(4);

  EXPECT_THAT(story.happened, ElementsAre("started", "resumed", "resumed failed", "resumed"));
  EXPECT_EQ(stateOf(*machine), MachineState::running);
}

TEST_F(ScriptedMachineTest, IsPausedIfADiskFailsDuringTheStart) {
  const auto machine = scriptedMachine(R"(
    hear; say '{"event": "RESUME"}'; say '{"event": "STOP"}'; hold; accept
    read -r end <&3)");
  runUntilHeld();
  EXPECT_EQ(stateOf(*machine), MachineState::starting);

  release();
  runUntilHappened(1);

  EXPECT_THAT(story.happened, ElementsAre("started"));
  EXPECT_EQ(stateOf(*machine), MachineState::paused);
}

TEST_F(ScriptedMachineTest, CompletesAPauseThatAShutdownOvertakes) {
  for (const std::string reply : {":", "accept", "refuse"}) {
    const auto machine = scriptedMachine(
        "answer; hear; say '{\"event\": \"STOP\"}'; shut_down; hold; " + reply + "; exit 0");
    runUntilHappened(1);

    machine->pause(story.tell("pause"));
    runUntilHeld();
    EXPECT_EQ(stateOf(*machine), MachineState::stopping);
    machine->resume(story.tell("resume"));
    runUntilHappened(2);
    release();
    runUntilHappened(4);

    EXPECT_THAT(story.happened,
                ElementsAre("started", "resume failed",
                            reply == "accept" ? "pause" : "pause failed", "guest stopped"));
    story.happened.clear();
  }
}

TEST_F(ScriptedMachineTest, CompletesAPauseThatAHardStopOvertakes) {
  for (const std::string reply : {":", "accept", "refuse"}) {
    const auto machine = scriptedMachine("answer; hear; say '{\"event\": \"STOP\"}'; hold; " +
                                         reply + "; hear; exit 0");
    runUntilHappened(1);

    machine->pause(story.tell("pause"));
    runUntilHeld();
    machine->stop(story.tell("stopped"));
    EXPECT_EQ(stateOf(*machine), MachineState::stopping);
    release();
    runUntilHappened(3);

    EXPECT_THAT(story.happened,
                ElementsAre("started", reply == "accept" ? "pause" : "pause failed", "stopped"));
    story.happened.clear();
  }
}

}  // namespace
}  // namespace parlen::qemu
