#include <gmock/gmock.h>

#include "contract/contract.h"

namespace parlen::test {
namespace {

using platform::MachineState;
using testing::ElementsAre;
using testing::IsEmpty;

using MachineContract = Contract;
INSTANTIATE_TEST_SUITE_P(Hosts, MachineContract, testing::ValuesIn(allHosts()), nameOf);

TEST_P(MachineContract, RunsOnceItsStartHasCompletedLater) {
  const Guest guest = installedGuest("guest");
  MachineStory story;
  const auto machine = machineOf(guest, story);
  EXPECT_EQ(machine->state(), raw(MachineState::stopped));

  machine->start(story.tell("started"));

  EXPECT_THAT(story.happened, IsEmpty());
  EXPECT_EQ(machine->state(), raw(MachineState::starting));
  EXPECT_FALSE(machine->canRequestStop());
  EXPECT_FALSE(machine->canPause());
  runUntil([&] { return !story.happened.empty(); }, "the machine runs");
  EXPECT_THAT(story.happened, ElementsAre("started"));
  EXPECT_EQ(machine->state(), raw(MachineState::running));
  EXPECT_TRUE(machine->canRequestStop());
  EXPECT_TRUE(machine->canPause());
  EXPECT_FALSE(machine->canResume());
}

TEST_P(MachineContract, CompletesPauseAndResumeLater) {
  MachineStory story;
  const auto machine = runningMachine(installedGuest("guest"), story);

  machine->pause(story.tell("paused"));
  EXPECT_EQ(machine->state(), raw(MachineState::pausing));
  runUntil([&] { return story.has("paused"); }, "the machine pauses");
  EXPECT_EQ(machine->state(), raw(MachineState::paused));
  EXPECT_FALSE(machine->canPause());
  EXPECT_TRUE(machine->canResume());

  machine->resume(story.tell("resumed"));
  EXPECT_EQ(machine->state(), raw(MachineState::resuming));
  runUntil([&] { return story.has("resumed"); }, "the machine resumes");
  EXPECT_EQ(machine->state(), raw(MachineState::running));
  EXPECT_THAT(story.happened, ElementsAre("started", "paused", "resumed"));
}

TEST_P(MachineContract, RefusesAResumeThatComesWithAPause) {
  MachineStory story;
  const auto machine = runningMachine(installedGuest("guest"), story);

  machine->pause(story.tell("paused"));
  EXPECT_FALSE(machine->canResume());
  machine->resume(story.tell("resume"));

  runUntil([&] { return story.happened.size() > 2; }, "both complete");
  runAWhile();
  EXPECT_THAT(story.happened, testing::UnorderedElementsAre("started", "paused", "resume failed"));
  EXPECT_EQ(machine->state(), raw(MachineState::paused));
}

TEST_P(MachineContract, CompletesEachPauseAndResumeForItself) {
  MachineStory story;
  const auto machine = runningMachine(installedGuest("guest"), story);

  // Each as soon as the state allows it, which may be before the other has completed.
  constexpr int pairs = 10;
  for (int pair = 0; pair < pairs; ++pair) {
    machine->pause(story.tell("paused"));
    runUntil([&] { return machine->canResume(); }, "the machine is paused");
    machine->resume(story.tell("resumed"));
    runUntil([&] { return machine->canPause(); }, "the machine runs again");
  }

  runAWhile();
  std::vector<std::string> expected{"started"};
  for (int pair = 0; pair < pairs; ++pair) expected.insert(expected.end(), {"paused", "resumed"});
  EXPECT_EQ(story.happened, expected);
}

TEST_P(MachineContract, FailsToPauseOrResumeAStoppedMachine) {
  MachineStory story;
  const auto machine = machineOf(installedGuest("guest"), story);

  machine->pause(story.tell("pause"));
  machine->resume(story.tell("resume"));

  EXPECT_THAT(story.happened, IsEmpty());
  runAWhile();
  EXPECT_THAT(story.happened, ElementsAre("pause failed", "resume failed"));
  EXPECT_EQ(machine->state(), raw(MachineState::stopped));
}

TEST_P(MachineContract, FailsToRequestAStopOfAStoppedMachine) {
  MachineStory story;
  const auto machine = machineOf(installedGuest("guest"), story);

  EXPECT_FALSE(machine->canRequestStop());
  EXPECT_FALSE(machine->requestStop());
}

TEST_P(MachineContract, FailsToStopAStoppedMachine) {
  MachineStory story;
  const auto machine = machineOf(installedGuest("guest"), story);

  machine->stop(story.tell("stop"));

  runUntil([&] { return !story.happened.empty(); }, "the stop fails");
  EXPECT_THAT(story.happened, ElementsAre("stop failed"));
}

TEST_P(MachineContract, ReportsOneEndForAHardStopWhileStarting) {
  MachineStory story;
  const auto machine = machineOf(installedGuest("guest"), story);

  machine->start(story.tell("started"));
  machine->stop(story.tell("stopped"));

  EXPECT_EQ(machine->state(), raw(MachineState::stopping));
  EXPECT_THAT(story.happened, IsEmpty());
  runUntil([&] { return !story.happened.empty(); }, "the machine stops");
  runAWhile();
  EXPECT_THAT(story.happened, ElementsAre("stopped"));
  EXPECT_EQ(machine->state(), raw(MachineState::stopped));
}

TEST_P(MachineContract, ReportsOneEndForAHardStopWhileRunning) {
  MachineStory story;
  const auto machine = runningMachine(installedGuest("guest"), story);

  machine->stop(story.tell("stopped"));

  EXPECT_EQ(machine->state(), raw(MachineState::stopping));
  runUntil([&] { return story.has("stopped"); }, "the machine stops");
  runAWhile();
  EXPECT_THAT(story.happened, ElementsAre("started", "stopped"));
  EXPECT_EQ(machine->state(), raw(MachineState::stopped));
}

TEST_P(MachineContract, ReportsOneEndForAHardStopWhilePaused) {
  MachineStory story;
  const auto machine = runningMachine(installedGuest("guest"), story);
  machine->pause(story.tell("paused"));
  runUntil([&] { return story.has("paused"); }, "the machine pauses");

  machine->stop(story.tell("stopped"));

  runUntil([&] { return story.has("stopped"); }, "the machine stops");
  runAWhile();
  EXPECT_THAT(story.happened, ElementsAre("started", "paused", "stopped"));
}

TEST_P(MachineContract, ReportsOneEndForTwoHardStops) {
  MachineStory story;
  const auto machine = runningMachine(installedGuest("guest"), story);

  machine->stop(story.tell("first"));
  machine->stop(story.tell("second"));

  runUntil([&] { return story.happened.size() > 1; }, "the machine stops");
  runAWhile();
  EXPECT_THAT(story.happened, ElementsAre("started", "first"));
}

TEST_P(MachineContract, CompletesAPauseBeforeItReportsTheEnd) {
  MachineStory story;
  const auto machine = runningMachine(installedGuest("guest"), story);

  machine->pause(story.tell("paused"));
  machine->stop(story.tell("stopped"));

  runUntil([&] { return story.has("stopped"); }, "the machine stops");
  runAWhile();
  EXPECT_THAT(story.happened, testing::AnyOf(ElementsAre("started", "paused", "stopped"),
                                             ElementsAre("started", "paused failed", "stopped")));
}

TEST_P(MachineContract, ReportsOneEndAfterARequestedStop) {
  const auto image = underTest().obedientRestoreImage(path(""));
  if (!image) GTEST_SKIP() << "there is no guest image";
  const Guest guest = emptyGuest("guest", 128UL * 1024UL * 1024UL);
  ASSERT_TRUE(install(guest, *image));
  MachineStory story;
  const auto machine = runningMachine(guest, story);

  EXPECT_TRUE(machine->requestStop());

  runUntil([&] { return story.happened.size() > 1; }, "the guest shuts down");
  runAWhile();
  EXPECT_THAT(story.happened, ElementsAre("started", "guest stopped")) << story.lastError;
  EXPECT_EQ(machine->state(), raw(MachineState::stopped));
}

TEST_P(MachineContract, FailsToStartWithoutAuxiliaryStorage) {
  const Guest guest = installedGuest("guest");
  ASSERT_TRUE(files().remove(guest.auxiliaryStorage));
  MachineStory story;
  const auto machine = machineOf(guest, story);

  machine->start(story.tell("start"));

  EXPECT_THAT(story.happened, IsEmpty());
  runUntil([&] { return !story.happened.empty(); }, "the start fails");
  runAWhile();
  EXPECT_THAT(story.happened, ElementsAre("start failed"));
  expectReason(story.lastError, guest.auxiliaryStorage);
  EXPECT_EQ(machine->state(), raw(MachineState::error));
}

TEST_P(MachineContract, FailsToStartWithDamagedAuxiliaryStorage) {
  const Guest guest = installedGuest("guest");
  ASSERT_TRUE(files().replace(guest.auxiliaryStorage, "nothing that a firmware wrote"));
  MachineStory story;
  const auto machine = machineOf(guest, story);

  machine->start(story.tell("start"));

  runUntil([&] { return !story.happened.empty(); }, "the start fails");
  runAWhile();
  EXPECT_THAT(story.happened, ElementsAre("start failed"));
  expectReason(story.lastError, guest.auxiliaryStorage);
}

TEST_P(MachineContract, FailsToStartWithoutItsDisk) {
  const Guest guest = installedGuest("guest");
  ASSERT_TRUE(files().remove(guest.disk));
  MachineStory story;
  const auto machine = machineOf(guest, story);

  machine->start(story.tell("start"));

  runUntil([&] { return !story.happened.empty(); }, "the start fails");
  runAWhile();
  EXPECT_THAT(story.happened, ElementsAre("start failed"));
  expectReason(story.lastError, guest.disk);
}

TEST_P(MachineContract, FailsToStartOnADiskThatAnotherMachineUses) {
  if (!underTest().keepsMachinesApart()) GTEST_SKIP() << "this host does not model it";
  const Guest first = installedGuest("first");
  Guest second = installedGuest("second");
  second.configuration.storageDevices = first.configuration.storageDevices;
  MachineStory firstStory;
  const auto firstMachine = runningMachine(first, firstStory);
  MachineStory secondStory;
  const auto secondMachine = machineOf(second, secondStory);

  secondMachine->start(secondStory.tell("start"));

  runUntil([&] { return !secondStory.happened.empty(); }, "the start fails");
  runAWhile();
  EXPECT_THAT(secondStory.happened, ElementsAre("start failed"));
  EXPECT_THAT(firstStory.happened, ElementsAre("started"));
  EXPECT_EQ(firstMachine->state(), raw(MachineState::running));
}

TEST_P(MachineContract, MakesNoCallbackAfterItIsDestroyed) {
  MachineStory story;
  auto machine = runningMachine(installedGuest("guest"), story);
  machine->stop(story.tell("stopped"));

  machine.reset();

  runAWhile();
  EXPECT_THAT(story.happened, ElementsAre("started"));
}

}  // namespace
}  // namespace parlen::test
