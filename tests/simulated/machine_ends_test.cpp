#include "simulated/machine_story.h"

namespace parlen::test {
namespace {

using MachineEnds = MachineStoryTest;

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
  given(R"({"machine":{"requestStopError":{"description":"deaf"}}})");
  start();
  pass(0);
  EXPECT_EQ(requestStop(), "deaf");
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

}  // namespace
}  // namespace parlen::test
