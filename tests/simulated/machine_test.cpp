#include "simulated/machine_story.h"

namespace parlen::test {
namespace {

using Machine = MachineStoryTest;

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
  ASSERT_TRUE(system_.files().removeFile(path("AuxiliaryStorage")));
  start();
  pass(0);
  ASSERT_EQ(story_.size(), 1U);
  EXPECT_TRUE(story_[0].ends_with("No such file or directory): error")) << story_[0];
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

TEST_F(Machine, RefusesWhatItsStateDoesNotAllow) {
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

TEST_F(Machine, StopsTheProcessWhenItIsStartedTwice) {
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

}  // namespace
}  // namespace parlen::test
