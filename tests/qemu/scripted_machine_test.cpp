#include <gmock/gmock.h>
#include <sys/stat.h>

#include <optional>
#include <string>
#include <vector>

#include "host_fixture.h"
#include "support/path_variable.h"

namespace parlen::qemu {
namespace {

using platform::MachineState;
using test::MachineStory;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/// Machines whose emulator is a shell script, to see what a real guest does once in a thousand
/// runs. Descriptor 3 is the script's end of the control socket.
class ScriptedMachineTest : public HostTest {
 protected:
  /// The script says the greeting, answers the handshake and goes on with `rest`, whose first
  /// command is the one that resumes the guest.
  std::unique_ptr<platform::VirtualMachine> scriptedMachine(const std::string& rest) {
    return machineWithEmulator(R"(#!/bin/sh
say() { printf '%s\r\n' "$1" >&3; }
answer() { read -r command <&3; id=${command##*:}; say "{\"return\": {}, \"id\": ${id%\}}}"; }
say '{"QMP": {}}'
answer
)" + rest);
  }

  std::unique_ptr<platform::VirtualMachine> machineWithEmulator(const std::string& script) {
    auto configuration = makeGuest("guest");
    const std::string emulator = path("bin/" + std::string(nativeGuestPlatform()->emulator));
    EXPECT_TRUE(files().createDirectories(path("bin")));
    EXPECT_TRUE(files().write(emulator, script));
    EXPECT_EQ(::chmod(emulator.c_str(), 0755), 0);
    searchPath_.emplace(path("bin") + ":/usr/bin:/bin");
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
  /// Without the one about emulation, which depends on the machine.
  std::vector<std::string> diskWarnings() const {
    std::vector<std::string> found;
    for (const std::string& warning : warnings()) {
      if (warning.find("disk") != std::string::npos) found.push_back(warning);
    }
    return found;
  }

  static constexpr const char* powerOff =
      R"(say '{"event": "SHUTDOWN", "data": {"guest": true, "reason": "guest-shutdown"}}'; exit 0)";

  MachineStory story;

 private:
  std::optional<test::PathVariable> searchPath_;
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

TEST_F(ScriptedMachineTest, FailsAPauseThatQemuRefuses) {
  const auto machine = scriptedMachine(R"(
    answer
    read -r command <&3
    say '{"error": {"class": "GenericError", "desc": "not now"}, "id": 3}'
    read -r end <&3)");
  runUntilHappened(1);

  machine->pause(story.tell("pause"));
  runUntilHappened(2);

  EXPECT_THAT(story.happened, ElementsAre("started", "pause failed"));
  EXPECT_EQ(story.lastError, "not now");
  EXPECT_EQ(machine->state(), static_cast<std::int64_t>(MachineState::running));
}

}  // namespace
}  // namespace parlen::qemu
