#include "platform/qemu/machine.h"

#include <gmock/gmock.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <fstream>

#include "host_fixture.h"
#include "platform/qemu/kvm_probe.h"
#include "support/environment_variable.h"

namespace parlen::qemu {
namespace {

using platform::MachineState;
using test::MachineStory;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

SubprocessExit exited(int status, std::string message = "") {
  return {.exit = {.status = status}, .lastMessage = std::move(message)};
}

SubprocessExit signalled(int signal, std::string message = "") {
  return {.exit = {.status = std::nullopt, .signal = signal}, .lastMessage = std::move(message)};
}

TEST(MachineEnd, IsNoErrorOnlyAfterAShutdownAndStatusZero) {
  EXPECT_EQ(endError(exited(0), "guest-shutdown"), std::nullopt);
  EXPECT_EQ(endError(exited(1, "disk full"), "guest-shutdown"),
            "QEMU has ended with status 1: disk full");
  EXPECT_EQ(endError(signalled(SIGKILL), "guest-shutdown"), "QEMU was ended by signal 9 (Killed)");
}

TEST(MachineEnd, NamesThePanicOfAGuest) {
  EXPECT_EQ(endError(exited(0), "guest-panic"), "the guest's operating system has crashed");
}

TEST(MachineEnd, NamesTheSignalThatQemuReceived) {
  EXPECT_EQ(endError(exited(0, "terminating on signal 15 from pid 7 (sh)"), "host-signal"),
            "QEMU was asked to end by a signal: terminating on signal 15 from pid 7 (sh)");
}

TEST(MachineEnd, WithoutAShutdownEventIsAnError) {
  EXPECT_EQ(endError(exited(0), ""), "QEMU has ended with status 0");
  EXPECT_EQ(endError(exited(1, "oops"), ""), "QEMU has ended with status 1: oops");
  EXPECT_EQ(endError(signalled(SIGABRT, "assertion failed"), ""),
            "QEMU was ended by signal 6 (Aborted): assertion failed");
}

TEST(MachineEnd, DoesNotBlameAnOldWarning) {
  EXPECT_EQ(endError(signalled(SIGKILL, "warning: slow"), ""),
            "QEMU was ended by signal 9 (Killed)");
}

TEST(MachineEnd, DuringAStartIsWhatQemuSaid) {
  EXPECT_EQ(startError(exited(1, "no such file")), "QEMU cannot start: no such file");
  EXPECT_EQ(startError(exited(1)), "QEMU has ended with status 1 while it was starting");
  EXPECT_EQ(startError(signalled(SIGKILL)),
            "QEMU was ended by signal 9 (Killed) while it was starting");
}

/// Whether the process runs; one that nobody has reaped yet does not.
bool isAlive(int pid) {
  std::ifstream status("/proc/" + std::to_string(pid) + "/stat");
  std::string number;
  std::string name;
  std::string state;
  return status >> number >> name >> state && state != "Z";
}

class MachineTest : public HostTest {
 protected:
  /// QEMU's process: the only child.
  static int qemu() {
    const auto pids = children();
    EXPECT_THAT(pids, SizeIs(1));
    return pids.empty() ? 0 : pids.front();
  }
};

TEST_F(MachineTest, ReportsAnErrorWhenQemuIsKilled) {
  MachineStory story;
  const auto machine = runningMachine(story);

  ::kill(qemu(), SIGKILL);

  runUntil([&] { return story.happened.size() > 1; });
  EXPECT_THAT(story.happened, ElementsAre("started", "stopped with an error"));
  EXPECT_EQ(story.lastError, "QEMU was ended by signal 9 (Killed)");
  EXPECT_EQ(machine->state(), static_cast<int>(MachineState::error));
}

TEST_F(MachineTest, FailsToStartWhenQemuIsKilledWhileItStarts) {
  MachineStory story;
  const auto machine = machineOf(makeGuest("guest"), story);
  machine->start(story.tell("start"));

  ::kill(qemu(), SIGKILL);

  runUntil([&] { return !story.happened.empty(); });
  EXPECT_THAT(story.happened, ElementsAre("start failed"));
  EXPECT_EQ(story.lastError, "QEMU was ended by signal 9 (Killed) while it was starting");
}

TEST_F(MachineTest, ReportsAnErrorWhenKilledAfterAStopRequest) {
  MachineStory story;
  const auto machine = runningMachine(story);
  ASSERT_TRUE(machine->requestStop());

  ::kill(qemu(), SIGKILL);

  runUntil([&] { return story.happened.size() > 1; });
  EXPECT_THAT(story.happened, ElementsAre("started", "stopped with an error"));
}

TEST_F(MachineTest, FailsThePendingPauseBeforeItReportsAKill) {
  MachineStory story;
  const auto machine = runningMachine(story);
  const int pid = qemu();
  ::kill(pid, SIGSTOP);  // QEMU does not get to answer
  machine->pause(story.tell("pause"));

  ::kill(pid, SIGKILL);

  runUntil([&] { return story.happened.size() > 2; });
  EXPECT_THAT(story.happened, ElementsAre("started", "pause failed", "stopped with an error"));
}

TEST_F(MachineTest, SaysWhichSignalEndedQemu) {
  MachineStory story;
  const auto machine = runningMachine(story);

  ::kill(qemu(), SIGTERM);

  runUntil([&] { return story.happened.size() > 1; });
  EXPECT_THAT(story.happened, ElementsAre("started", "stopped with an error"));
  EXPECT_THAT(story.lastError, HasSubstr("asked to end by a signal: terminating on signal 15"));
}

TEST_F(MachineTest, StopsEvenIfQemuHangs) {
  MachineStory story;
  const auto machine = runningMachine(story);
  ::kill(qemu(), SIGSTOP);

  machine->stop(story.tell("stopped"));

  runUntil([&] { return story.has("stopped"); });
  EXPECT_THAT(story.happened, ElementsAre("started", "stopped"));
  EXPECT_THAT(children(), IsEmpty());
}

TEST_F(MachineTest, CompletesAHardStopOnlyWhenTheProcessIsGone) {
  MachineStory story;
  const auto machine = runningMachine(story);
  const int pid = qemu();

  machine->stop([&, pid](const platform::Result<>& result) {
    EXPECT_TRUE(result);
    EXPECT_EQ(::kill(pid, 0), -1);
    story.happened.emplace_back("stopped");
  });

  runUntil([&] { return story.has("stopped"); });
}

TEST_F(MachineTest, LeavesNoProcessBehindWhenItIsDestroyed) {
  MachineStory story;
  auto machine = runningMachine(story);

  machine.reset();

  EXPECT_THAT(children(), IsEmpty());
}

TEST_F(MachineTest, TakesNoStopRequestWhileItIsPaused) {
  MachineStory story;
  const auto machine = runningMachine(story);
  machine->pause(story.tell("paused"));
  runUntil([&] { return story.has("paused"); });

  EXPECT_FALSE(machine->canRequestStop());
  EXPECT_FALSE(machine->requestStop());
}

TEST_F(MachineTest, RunsWithCommasInItsPaths) {
  auto configuration = makeGuest("a,b,readonly=on");
  ASSERT_TRUE(files().createDirectories(path("in,put")));
  configuration.directorySharingDevices = {
      {.tag = "one", .path = path("in,put"), .access = platform::ShareAccess::readOnly}};
  MachineStory story;
  const auto machine = machineOf(configuration, story);

  machine->start(story.tell("started"));

  runUntil([&] { return !story.happened.empty(); });
  EXPECT_THAT(story.happened, ElementsAre("started")) << story.lastError;
}

TEST_F(MachineTest, FailsToStartWithoutAFolderToShareAndNamesIt) {
  auto configuration = makeGuest("guest");
  configuration.directorySharingDevices = {
      {.tag = "one", .path = path("missing"), .access = platform::ShareAccess::readOnly}};
  MachineStory story;
  const auto machine = machineOf(configuration, story);

  machine->start(story.tell("start"));

  runUntil([&] { return !story.happened.empty(); });
  EXPECT_THAT(story.happened, ElementsAre("start failed"));
  EXPECT_THAT(story.lastError, HasSubstr(path("missing")));
}

TEST_F(MachineTest, SaysThatTheGuestIsInUse) {
  const auto configuration = makeGuest("first");
  auto second = makeGuest("second");
  second.storageDevices = configuration.storageDevices;
  MachineStory firstStory;
  const auto first = machineOf(configuration, firstStory);
  first->start(firstStory.tell("started"));
  runUntil([&] { return firstStory.has("started"); });
  MachineStory story;
  const auto machine = machineOf(second, story);

  machine->start(story.tell("start"));

  runUntil([&] { return !story.happened.empty(); });
  EXPECT_EQ(story.lastError, "the guest is in use by another process");
}

TEST_F(MachineTest, WarnsOnceThatItEmulates) {
  MachineStory story;
  const auto machine = runningMachine(story);

  EXPECT_THAT(warnings(), SizeIs(kvmWorks() ? 0 : 1));
}

TEST_F(MachineTest, RunsQemuInASessionOfItsOwn) {
  MachineStory story;
  const auto machine = runningMachine(story);

  EXPECT_EQ(::getsid(qemu()), qemu());
}

TEST_F(MachineTest, KillsQemuWhenThisProcessIsKilled) {
  const auto configuration = makeGuest("guest");
  std::array<int, 2> ends{};
  ASSERT_EQ(::pipe(ends.data()), 0);
  // The child is the tool: it starts a guest, tells its QEMU's number and is killed.
  const pid_t tool = ::fork();
  if (tool == 0) {
    MachineStory story;
    linux::System system;
    Host own(system.loop(), [](std::string_view) {}, [] {});
    const auto machine = own.machines().createMachine(configuration);
    machine->start([&](const platform::Result<>&) {
      const int pid = children().front();
      [[maybe_unused]] const auto count = ::write(ends[1], &pid, sizeof pid);
    });
    system.loop().run();
  }
  ::close(ends[1]);
  int pid = 0;
  ASSERT_EQ(::read(ends[0], &pid, sizeof pid), static_cast<ssize_t>(sizeof pid));
  ASSERT_EQ(::kill(pid, 0), 0);

  ::kill(tool, SIGKILL);
  ::waitpid(tool, nullptr, 0);

  runUntil([pid] { return !isAlive(pid); });
  ::close(ends[0]);
}

TEST_F(MachineTest, StartsWhateverPathIsWhereItIsSupported) {
  const test::TemporaryDirectory empty;
  for (const auto& value : {std::optional<std::string>(), std::optional<std::string>(""),
                            std::optional<std::string>(empty.path())}) {
    const test::PathVariable searchPath(value);
    const std::string name = value.value_or("unset");

    EXPECT_TRUE(host().capabilities().isSupported()) << name;
    EXPECT_TRUE(requireProgram(imageTool)) << name;
    MachineStory story;
    const auto machine = machineOf(makeGuest("guest" + std::to_string(name.size())), story);
    machine->start(story.tell("started"));
    runUntil([&] { return !story.happened.empty(); });
    EXPECT_THAT(story.happened, ElementsAre("started")) << name << ": " << story.lastError;
  }
}

TEST_F(MachineTest, SaysWhichProgramIsNotInstalled) {
  const auto program = requireProgram("parlen-no-such-program");

  ASSERT_FALSE(program);
  EXPECT_EQ(program.error().description, "parlen-no-such-program is not installed");
}

}  // namespace
}  // namespace parlen::qemu
