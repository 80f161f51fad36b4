#include "simulated/fixture.h"

namespace parlen::test {
namespace {

using Machine = MachineTest;
using MachineEnds = MachineTest;
using MachineDisk = MachineTest;

TEST_F(Machine, IsStoppedUntilItIsStarted) {
  given("{}");
  EXPECT_EQ(state(), "stopped");
  EXPECT_FALSE(machine_->canRequestStop());
  EXPECT_FALSE(machine_->canPause());
  EXPECT_FALSE(machine_->canResume());
}

TEST_F(Machine, StartsRunsIsAskedToStopAndStops) {
  given(R"({"machine":{"startMs":100,"shutdownMs":40}})");
  start();
  EXPECT_EQ(state(), "starting");
  EXPECT_FALSE(machine_->canRequestStop());
  pass(150);
  EXPECT_TRUE(machine_->canRequestStop());
  EXPECT_EQ(requestStop(), "asked");
  EXPECT_EQ(state(), "running");
  pass(1000);
  EXPECT_EQ(story_, (Story{"100 started: running", "190 the guest stopped: stopped"}));
  EXPECT_FALSE(machine_->canRequestStop());
}

TEST_F(Machine, TellsNothingFromInsideTheCall) {
  given("{}");
  start();
  EXPECT_EQ(story_, Story{});
  pass(0);
  pause();
  EXPECT_EQ(state(), "pausing");
  EXPECT_EQ(story_.size(), 1U);
  pass(0);
  EXPECT_EQ(story_, (Story{"0 started: running", "0 paused: paused"}));
}

TEST_F(Machine, FailsToStartAsTheScenarioSays) {
  given(R"({"machine":{"startMs":30,"startError":{"description":"one too many"}}})");
  start();
  pass(1000);
  EXPECT_EQ(story_, (Story{"30 not started (one too many): error"}));
}

TEST_F(Machine, FailsToStartWhenTheGuestIsInUse) {
  given(R"({"machine":{"startMs":30,"startError":{},"inUse":true}})");
  start();
  pass(1000);
  EXPECT_EQ(story_, (Story{"30 not started (the guest is in use by another process): error"}));
}

TEST_F(Machine, PassesTheWholeErrorOn) {
  given(R"({"machine":{"startError":{"domain":"VZErrorDomain","code":6,"description":"d"}}})");
  platform::PlatformError error;
  machine_->start([&](const platform::Result<>& result) { error = result.error(); });
  pass(0);
  EXPECT_EQ(error, (platform::PlatformError{"VZErrorDomain", 6, "d"}));
}

TEST_F(Machine, DoesNotStartWithoutAGuestOnItsDisk) {
  useScenario("{}");
  use(emptyGuest());
  start();
  pass(0);
  EXPECT_EQ(story_, (Story{"0 not started (could not start the machine: the disk " +
                           path("Disk.img") + " has no guest on it): error"}));
}

TEST_F(Machine, DoesNotStartWithoutADisk) {
  given("{}");
  auto guest = installedGuest();
  guest.storageDevices.clear();
  use(guest);
  start();
  pass(0);
  EXPECT_EQ(story_, (Story{"0 not started (could not start the machine: the machine has no disk):"
                           " error"}));
}

TEST_F(Machine, DoesNotStartWithAnotherModelsStorage) {
  for (const std::string content : {"", "parlen-simulated-auxiliary-storage:sim-2",
                                    "parlen-simulated-auxiliary-storage:sim-1\n"}) {
    given("{}");
    write("AuxiliaryStorage", content);
    story_.clear();
    start();
    pass(0);
    EXPECT_EQ(story_,
              (Story{"0 not started (could not start the machine: " + path("AuxiliaryStorage") +
                     " is no auxiliary storage of the model sim-1): error"}))
        << content;
  }
}

TEST_F(Machine, DoesNotStartWithoutItsStorage) {
  given("{}");
  ASSERT_TRUE(system_.files().remove(path("AuxiliaryStorage")));
  start();
  pass(0);
  ASSERT_EQ(story_.size(), 1U);
  EXPECT_TRUE(story_[0].contains("AuxiliaryStorage")) << story_[0];
  EXPECT_TRUE(story_[0].ends_with("): error")) << story_[0];
}

TEST_F(Machine, PausesAndResumes) {
  given(R"({"machine":{"pauseMs":10,"resumeMs":20}})");
  start();
  pass(0);
  EXPECT_TRUE(machine_->canPause());
  EXPECT_FALSE(machine_->canResume());
  pause();
  EXPECT_EQ(state(), "pausing");
  EXPECT_FALSE(machine_->canPause());
  pass(10);
  EXPECT_TRUE(machine_->canResume());
  EXPECT_FALSE(machine_->canPause());
  EXPECT_FALSE(machine_->canRequestStop());
  resume();
  EXPECT_EQ(state(), "resuming");
  pass(20);
  EXPECT_EQ(story_, (Story{"0 started: running", "10 paused: paused", "30 resumed: running"}));
}

TEST_F(Machine, GoesOnRunningWhenAPauseFails) {
  given(R"({"machine":{"pauseMs":10,"pauseError":{"description":"not now"}}})");
  start();
  pass(0);
  pause();
  pass(100);
  EXPECT_EQ(story_, (Story{"0 started: running", "10 not paused (not now): running"}));
}

TEST_F(Machine, StaysPausedWhenAResumeFails) {
  given(R"({"machine":{"resumeMs":10,"resumeError":{"description":"not now"}}})");
  start();
  pass(0);
  pause();
  pass(0);
  resume();
  pass(100);
  EXPECT_EQ(story_,
            (Story{"0 started: running", "0 paused: paused", "10 not resumed (not now): paused"}));
}

TEST_F(Machine, FailsCallsThatItsStateDoesNotAllow) {
  given("{}");
  pause();
  resume();
  stop();
  EXPECT_EQ(requestStop(), "the machine is in no state to shut its guest down");
  EXPECT_EQ(story_, Story{});
  pass(0);
  EXPECT_EQ(story_, (Story{"0 not paused (the machine is in no state to pause): stopped",
                           "0 not resumed (the machine is in no state to resume): stopped",
                           "0 not stopped hard (the machine is stopped already): stopped"}));
}

TEST_F(Machine, AbortsWhenItIsStartedTwice) {
  given("{}");
  start();
  EXPECT_THROW(start(), ProcessTrapped);
  EXPECT_EQ(system_.streams().error,
            "parlen-mac-vm: the simulated host cannot go on: a machine can be started only "
            "once\n");
}

TEST_F(Machine, TellsNothingOnceItIsDestroyed) {
  given(R"({"script":[{"atMs":5,"event":"guest-stops"}]})");
  start();
  machine_.reset();
  pass(100);
  EXPECT_EQ(story_, Story{});
}

TEST_F(Machine, MayBeDestroyedByWhatItTells) {
  given(R"({"script":[{"atMs":5,"event":"guest-stops"}]})");
  bool started = false;
  machine_->start([&](const platform::Result<>& result) {
    started = result.has_value();
    machine_.reset();
  });
  pass(100);
  EXPECT_TRUE(started);
  EXPECT_EQ(story_, Story{});
}

TEST_F(MachineEnds, StopsHardWhileItRuns) {
  given(R"({"machine":{"stopMs":25}})");
  start();
  pass(0);
  stop();
  EXPECT_EQ(state(), "stopping");
  EXPECT_FALSE(machine_->canRequestStop());
  pass(100);
  EXPECT_EQ(story_, (Story{"0 started: running", "25 stopped hard: stopped"}));
}

TEST_F(MachineEnds, StopsHardWhileItStarts) {
  given(R"({"machine":{"startMs":50,"stopMs":100}})");
  start();
  stop();
  EXPECT_EQ(state(), "stopping");
  pass(1000);
  EXPECT_EQ(story_, (Story{"100 stopped hard: stopped"}));
}

TEST_F(MachineEnds, StopsHardWhileItPauses) {
  given(R"({"machine":{"pauseMs":50,"stopMs":100}})");
  start();
  pass(0);
  pause();
  stop();
  pass(1000);
  EXPECT_EQ(story_, (Story{"0 started: running",
                           "50 not paused (the machine stopped before it could pause): stopping",
                           "100 stopped hard: stopped"}));
}

TEST_F(MachineEnds, StopsHardWhilePaused) {
  given("{}");
  start();
  pass(0);
  pause();
  pass(0);
  stop();
  pass(0);
  EXPECT_EQ(story_, (Story{"0 started: running", "0 paused: paused", "0 stopped hard: stopped"}));
}

TEST_F(MachineEnds, HandsTheScenariosErrorToTheHardStop) {
  given(R"({"machine":{"stopError":{"description":"it hurt"}}})");
  start();
  pass(0);
  stop();
  pass(0);
  EXPECT_EQ(story_, (Story{"0 started: running", "0 not stopped hard (it hurt): stopped"}));
}

TEST_F(MachineEnds, NeverCompletesAHardStopThatHangs) {
  given(R"({"machine":{"stopMs":null}})");
  start();
  pass(0);
  stop();
  pass(1000000);
  EXPECT_EQ(story_, (Story{"0 started: running"}));
  EXPECT_EQ(state(), "stopping");
}

TEST_F(MachineEnds, ReportsTheFirstOfTwoHardStopsOnly) {
  given(R"({"machine":{"stopMs":10}})");
  start();
  pass(0);
  stop();
  pass(5);
  stop();
  pass(100);
  EXPECT_EQ(story_, (Story{"0 started: running", "10 stopped hard: stopped"}));
}

TEST_F(MachineEnds, NeverShutsDownAGuestThatIgnoresTheRequest) {
  given(R"({"machine":{"shutdownMs":null}})");
  start();
  pass(0);
  EXPECT_EQ(requestStop(), "asked");
  pass(1000000);
  EXPECT_EQ(state(), "running");
  stop();
  pass(0);
  EXPECT_EQ(story_, (Story{"0 started: running", "1000000 stopped hard: stopped"}));
}

TEST_F(MachineEnds, FailsToAskTheGuestAsTheScenarioSays) {
  given(R"({"machine":{"requestStopError":{"description":"not listening"}}})");
  start();
  pass(0);
  EXPECT_EQ(requestStop(), "not listening");
  pass(1000);
  EXPECT_EQ(state(), "running");
}

TEST_F(MachineEnds, SaysThatItCannotAskTheGuestIfTheScenarioSaysSo) {
  given(R"({"machine":{"canRequestStop":false}})");
  start();
  pass(0);
  EXPECT_FALSE(machine_->canRequestStop());
  EXPECT_EQ(requestStop(), "the machine is in no state to shut its guest down");
}

TEST_F(MachineEnds, ShutsDownDuringTheStartIfTheScenarioLetsItBeAsked) {
  given(R"({"machine":{"canRequestStop":true,"startMs":100,"shutdownMs":30}})");
  EXPECT_TRUE(machine_->canRequestStop());
  start();
  EXPECT_EQ(requestStop(), "asked");
  pass(1000);
  EXPECT_EQ(story_, (Story{"30 the guest stopped: stopped"}));
}

TEST_F(MachineEnds, HoldsAShutdownUpWhileTheGuestIsPaused) {
  given(R"({"machine":{"shutdownMs":50,"resumeMs":10}})");
  start();
  pass(0);
  EXPECT_EQ(requestStop(), "asked");
  pause();
  pass(200);
  EXPECT_EQ(state(), "paused");
  resume();
  pass(100);
  EXPECT_EQ(story_, (Story{"0 started: running", "0 paused: paused", "210 resumed: running",
                           "210 the guest stopped: stopped"}));
}

TEST_F(MachineEnds, DoesNotHoldAShutdownUpThatFallsDueAfterTheResume) {
  given(R"({"machine":{"shutdownMs":50}})");
  start();
  pass(0);
  EXPECT_EQ(requestStop(), "asked");
  pause();
  pass(20);
  resume();
  pass(100);
  EXPECT_EQ(story_, (Story{"0 started: running", "0 paused: paused", "20 resumed: running",
                           "50 the guest stopped: stopped"}));
}

TEST_F(MachineEnds, ReportsOnlyTheFirstOfAShutdownAndAHardStop) {
  given(R"({"machine":{"shutdownMs":30,"stopMs":60}})");
  start();
  pass(0);
  EXPECT_EQ(requestStop(), "asked");
  stop();
  pass(1000);
  EXPECT_EQ(story_, (Story{"0 started: running", "30 the guest stopped: stopped"}));
}

TEST_F(MachineEnds, StopsOnItsOwnByTheScript) {
  given(R"({"machine":{"startMs":1000},"script":[{"atMs":400,"event":"guest-stops"}]})");
  pass(5000);  // the script counts from the start
  start();
  pass(10000);
  EXPECT_EQ(story_, (Story{"5400 the guest stopped: stopped"}));
}

TEST_F(MachineEnds, PutsTheStartBeforeAScriptEntryAtTheSameTime) {
  given(R"({"machine":{"startMs":7},"script":[{"atMs":7,"event":"guest-stops"}]})");
  start();
  pass(100);
  EXPECT_EQ(story_, (Story{"7 started: running", "7 the guest stopped: stopped"}));
}

TEST_F(MachineEnds, StopsWithAnErrorByTheScriptAndOnlyOnce) {
  given(R"({"script":[
      {"atMs":10,"event":"stops-with-error","error":{"description":"panic"}},
      {"atMs":20,"event":"guest-stops"},
      {"atMs":30,"event":"network-disconnects"}]})");
  start();
  pass(100);
  EXPECT_EQ(story_, (Story{"0 started: running", "10 stopped with error (panic): error"}));
}

TEST_F(MachineEnds, StopsWithAnErrorWhenTheGuestPanics) {
  given(R"({"script":[{"atMs":10,"event":"guest-panics"},{"atMs":20,"event":"guest-stops"}]})");
  start();
  pass(100);
  EXPECT_EQ(story_, (Story{"0 started: running",
                           "10 stopped with error (the guest's operating system has crashed):"
                           " error"}));
}

TEST_F(MachineEnds, StopsWithAnErrorInTheMiddleOfAHardStop) {
  given(R"({"machine":{"stopMs":50},"script":[{"atMs":10,"event":"stops-with-error"}]})");
  start();
  pass(0);
  stop();
  pass(100);
  EXPECT_EQ(story_,
            (Story{"0 started: running", "10 stopped with error (simulated failure): error"}));
}

TEST_F(MachineEnds, RunsOnWithoutItsNetwork) {
  given(R"({"script":[{"atMs":10,"event":"network-disconnects","error":{"description":"gone"}},
                      {"atMs":20,"event":"network-disconnects"}]})");
  start();
  pass(100);
  EXPECT_EQ(story_, (Story{"0 started: running", "10 network lost (gone): running",
                           "20 network lost (simulated failure): running"}));
}

TEST_F(MachineEnds, StaysInTheErrorStateUntilItIsStoppedHard) {
  given(R"({"machine":{"pauseMs":20},"script":[{"atMs":10,"event":"enters-error-state"}]})");
  start();
  pass(0);
  pause();
  pass(100);
  EXPECT_FALSE(machine_->canPause());
  EXPECT_FALSE(machine_->canResume());
  EXPECT_FALSE(machine_->canRequestStop());
  stop();
  pass(0);
  EXPECT_EQ(story_, (Story{"0 started: running", "20 paused: error", "100 stopped hard: stopped"}));
}

TEST_F(MachineEnds, CompletesAStartInTheErrorState) {
  given(R"({"machine":{"startMs":20},"script":[{"atMs":10,"event":"enters-error-state"}]})");
  start();
  pass(100);
  EXPECT_EQ(story_, (Story{"20 started: error"}));
}

TEST_F(MachineEnds, DoesNothingForAUsersActionsWithoutAWindow) {
  given(R"({"script":[{"atMs":1,"event":"clicks-later"},{"atMs":1,"event":"clicks-done"},
                      {"atMs":1,"event":"closes-window"}]})");
  start();
  pass(100);
  EXPECT_EQ(story_, (Story{"0 started: running"}));
}

TEST_F(MachineEnds, TellsNobodyWithoutADelegate) {
  given(
      R"({"script":[{"atMs":1,"event":"network-disconnects"},{"atMs":2,"event":"guest-stops"}]})");
  machine_->setDelegate(nullptr);
  start();
  pass(100);
  EXPECT_EQ(story_, (Story{"0 started: running"}));
  EXPECT_EQ(state(), "stopped");
}

const std::string full = "the guest is paused: writing its disk failed (";
const std::string again = "); resuming tries again";

TEST_F(MachineDisk, HoldsTheGuestUntilThereIsRoomAndItIsResumed) {
  given(R"({"script":[{"atMs":10,"event":"disk-fills","error":{"description":"No space"}},
                      {"atMs":20,"event":"disk-fills"},{"atMs":30,"event":"disk-has-room"}]})");
  start();
  pass(10);
  EXPECT_EQ(state(), "paused");
  EXPECT_EQ(warnings_, (Story{full + "No space" + again}));
  EXPECT_FALSE(machine_->canRequestStop());
  pass(30);
  EXPECT_EQ(state(), "paused") << "room alone resumes nothing";
  resume();
  pass(100);
  EXPECT_EQ(story_, (Story{"0 started: running", "40 resumed: running"}));
  EXPECT_EQ(state(), "running");
  EXPECT_EQ(warnings_.size(), 1U);
}

TEST_F(MachineDisk, HoldsTheGuestAgainWhenItIsResumedTooSoon) {
  given(R"({"script":[{"atMs":10,"event":"disk-fills"}]})");
  start();
  pass(10);
  resume();
  pass(0);
  EXPECT_EQ(story_, (Story{"0 started: running", "10 resumed: running"}));
  EXPECT_EQ(state(), "paused");
  EXPECT_EQ(warnings_, (Story(2, full + "simulated failure" + again)));
}

TEST_F(MachineDisk, HoldsAGuestWhoseDiskFilledWhileItStarted) {
  given(R"({"machine":{"startMs":50},"script":[{"atMs":10,"event":"disk-fills"}]})");
  start();
  pass(100);
  EXPECT_EQ(story_, (Story{"50 started: running"}));
  EXPECT_EQ(state(), "paused");
}

TEST_F(MachineDisk, HoldsAGuestThatFailsToPause) {
  given(
      R"({"machine":{"pauseMs":20,"pauseError":{}},"script":[{"atMs":10,"event":"disk-fills"}]})");
  start();
  pass(0);
  pause();
  pass(100);
  EXPECT_EQ(story_, (Story{"0 started: running", "20 not paused (simulated failure): running"}));
  EXPECT_EQ(state(), "paused");
}

TEST_F(MachineDisk, HoldsAShutdownUp) {
  given(R"({"machine":{"shutdownMs":50},"script":[{"atMs":10,"event":"disk-fills"}]})");
  start();
  pass(0);
  EXPECT_EQ(requestStop(), "asked");
  pass(1000);
  EXPECT_EQ(state(), "paused");
  stop();
  pass(0);
  EXPECT_EQ(story_, (Story{"0 started: running", "1000 stopped hard: stopped"}));
}

}  // namespace
}  // namespace parlen::test
