#include "runner/run.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "support/event_lines.h"
#include "support/tool.h"

namespace parlen::test {
namespace {

using Lines = std::vector<std::string>;
using platform::TerminationSignal;

const std::string stop = "{\"type\":\"stop\"}\n";
const std::string pause = "{\"type\":\"pause\"}\n";
const std::string resume = "{\"type\":\"resume\"}\n";

/// A bundle in a world where the given scenario holds; a headless run of it.
class HeadlessRun {
 public:
  explicit HeadlessRun(std::string_view scenario = "{}")
      : tool(scenario), bundle(tool.makeBundle("vm1")) {}

  Outcome run() { return tool.run({"run", "--bundle", bundle}); }

  /// The events after the first three, which every run that starts has.
  Lines eventsAfterRunning() {
    Lines events = tool.events();
    EXPECT_GE(events.size(), 3U);
    EXPECT_EQ(Lines(events.begin(), events.begin() + 3), (Lines{ready, starting, running}));
    return {events.begin() + 3, events.end()};
  }

  Tool tool;
  std::string bundle;
};

// --- How a run ends ---

TEST(RunEnds, WithAnErrorAndACrashWhenTheStartFails) {
  HeadlessRun given(R"({"machine":{"startMs":5,"startError":{"description":"no \"power\""}}})");
  EXPECT_EQ(given.run(), endedWith(1));
  EXPECT_EQ(given.tool.events(), (Lines{ready, starting, error("boot-failed", "no \"power\""),
                                        stopped("no \"power\"", true)}));
}

TEST(RunEnds, WithAnErrorAndACrashWhileAnotherProcessUsesTheGuest) {
  for (const auto kind : {platform::LockKind::exclusive, platform::LockKind::shared}) {
    HeadlessRun given;
    const auto other = given.tool.system().files().lockDirectory(given.bundle, kind).value();
    EXPECT_EQ(given.tool.run({"run", "--bundle", given.bundle, "--share", given.tool.path("new")}),
              endedWith(1));
    const std::string inUse = "the guest is in use by another process";
    EXPECT_EQ(given.tool.events(),
              (Lines{ready, error("boot-failed", inUse), stopped(inUse, true)}));
    EXPECT_EQ(given.tool.calls(), Lines{}) << "the host is not asked";
    EXPECT_FALSE(given.tool.system().files().exists(given.tool.path("new")));
  }
}

TEST(RunEnds, AsAFailedStartWhenTheInputCannotBeRead) {
  HeadlessRun given;
  given.tool.system().streams().inputFails = true;
  EXPECT_EQ(given.run(), endedWith(1));
  const std::string reason = "could not read standard input: no thread";
  EXPECT_EQ(given.tool.events(),
            (Lines{ready, error("boot-failed", reason), stopped(reason, true)}));
  EXPECT_EQ(std::ranges::count(given.tool.calls(), "machine.start"), 0);
}

TEST(RunEnds, AsAFailedStartWhenSignalsCannotBeWatched) {
  HeadlessRun given;
  given.tool.system().process().signalsCannotBeWatched = true;
  EXPECT_EQ(given.run(), endedWith(1));
  const std::string reason = "could not watch for signals";
  EXPECT_EQ(given.tool.events(),
            (Lines{ready, error("boot-failed", reason), stopped(reason, true)}));
  EXPECT_EQ(std::ranges::count(given.tool.calls(), "machine.start"), 0);
}

TEST(RunEnds, WithTheLackOfABundleEvenIfItsDirectoryIsInUse) {
  Tool tool;
  tool.write("file", "");
  EXPECT_EQ(tool.run({"run", "--bundle", tool.path("file")}), endedWith(1));
  EXPECT_EQ(tool.events(),
            (Lines{ready, error("bundle-missing", "no VM bundle at " + tool.path("file"))}));
}

TEST(ARun, KeepsEverybodyFromItsBundleUntilItEnds) {
  HeadlessRun given(R"({"script":[{"atMs":200,"event":"guest-stops"}]})");
  platform::Files& files = given.tool.system().files();
  const auto isLocked = [&] {
    return files.lockDirectory(given.bundle, platform::LockKind::shared).value() == nullptr;
  };
  bool looked = false;
  given.tool.system().loop().postDelayed(std::chrono::milliseconds(100), [&] {
    looked = true;
    EXPECT_TRUE(isLocked());
  });
  EXPECT_EQ(given.run(), endedWith(0));
  EXPECT_TRUE(looked);
  EXPECT_FALSE(isLocked());
}

TEST(RunEnds, WithItsOwnCodeWhenThereIsOneMachineTooMany) {
  HeadlessRun given(
      R"({"machine":{"startError":{"domain":"VZErrorDomain","code":6,"description":"full"}}})");
  EXPECT_EQ(given.run(), endedWith(1));
  EXPECT_EQ(given.tool.events(),
            (Lines{ready, starting, error("vm-limit", "full"), stopped("full", true)}));
}

TEST(RunEnds, OrderlyWhenTheGuestShutsDownByItself) {
  HeadlessRun given(R"({"script":[{"atMs":73500,"event":"guest-stops"}]})");
  EXPECT_EQ(given.run(), endedWith(0));
  EXPECT_EQ(given.eventsAfterRunning(),
            Lines{stopped("guest stopped on its own after 73s (was running)")});
}

TEST(RunEnds, OrderlyWhenTheGuestShutsDownAfterAStopCommand) {
  HeadlessRun given(R"({"machine":{"shutdownMs":12000}})");
  given.tool.sendAt(10, stop);
  EXPECT_EQ(given.run(), endedWith(0));
  EXPECT_EQ(given.eventsAfterRunning(),
            Lines{stopped("guest stopped after host stop request after 12s (was running)")});
  EXPECT_EQ(given.tool.calls().back(), "machine.requestStop");
}

TEST(RunEnds, HardWhenTheOrderlyRequestFails) {
  HeadlessRun given(R"({"machine":{"requestStopError":{"description":"busy"}}})");
  given.tool.sendAt(10, stop);
  EXPECT_EQ(given.run(), endedWith(0));
  EXPECT_EQ(given.eventsAfterRunning(), Lines{hardStop});
  EXPECT_EQ(given.tool.warnings(), "parlen-mac-vm: requestStop failed (busy); stopping hard\n");
}

TEST(RunEnds, HardWhenTheMachineCannotBeAsked) {
  HeadlessRun given(R"({"machine":{"canRequestStop":false}})");
  given.tool.sendAt(10, stop);
  EXPECT_EQ(given.run(), endedWith(0));
  EXPECT_EQ(given.eventsAfterRunning(), Lines{hardStop});
  EXPECT_EQ(given.tool.warnings(), "");
}

TEST(RunEnds, HardWhenItIsStillStarting) {
  HeadlessRun given(R"({"machine":{"startMs":60000}})");
  given.tool.sendAt(10, stop);
  EXPECT_EQ(given.run(), endedWith(0));
  EXPECT_EQ(given.tool.events(), (Lines{ready, starting, hardStop}));
}

TEST(RunEnds, HardAndOrderlyEvenIfTheHardStopReportsAnError) {
  HeadlessRun given(R"({"machine":{"canRequestStop":false,"stopError":{"description":"hm"}}})");
  given.tool.sendAt(10, stop);
  EXPECT_EQ(given.run(), endedWith(0));
  EXPECT_EQ(given.eventsAfterRunning(), Lines{hardStop});
}

TEST(RunEnds, WithACrashWhenTheMachineStopsWithAnError) {
  HeadlessRun given(
      R"({"script":[{"atMs":100,"event":"stops-with-error","error":{"description":"burnt"}}]})");
  EXPECT_EQ(given.run(), endedWith(1));
  EXPECT_EQ(given.eventsAfterRunning(),
            (Lines{error("boot-failed", "burnt"), stopped("burnt", true)}));
}

TEST(RunEnds, WithACrashWhenTheMachineStopsWithALimitError) {
  HeadlessRun given(R"({"script":[{"atMs":100,"event":"stops-with-error",
               "error":{"description":"The Virtual Machine Limit"}}]})");
  EXPECT_EQ(given.run(), endedWith(1));
  EXPECT_EQ(given.eventsAfterRunning(), (Lines{error("vm-limit", "The Virtual Machine Limit"),
                                               stopped("The Virtual Machine Limit", true)}));
}

TEST(RunEnds, WithoutACrashOnAnErrorWhileStopping) {
  HeadlessRun given(R"({"machine":{"shutdownMs":null},
               "script":[{"atMs":100,"event":"stops-with-error","error":{"description":"burnt"}}]})");
  given.tool.sendAt(10, stop);
  EXPECT_EQ(given.run(), endedWith(0));
  EXPECT_EQ(given.eventsAfterRunning(),
            (Lines{error("boot-failed", "burnt"), stopped("burnt", false)}));
}

TEST(RunEnds, HardOnEitherSignalWithoutAskingTheGuest) {
  for (const TerminationSignal signal :
       {TerminationSignal::terminate, TerminationSignal::interrupt}) {
    HeadlessRun given;
    given.tool.raiseAt(10, signal);
    EXPECT_EQ(given.run(), endedWith(0));
    EXPECT_EQ(given.eventsAfterRunning(), Lines{hardStop});
    const Lines calls = given.tool.calls();
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "machine.requestStop"), 0);
    EXPECT_EQ(calls.back(), "machine.stop");
  }
}

TEST(RunEnds, AtOnceOnASignalWhileAGuestIgnoresTheStop) {
  HeadlessRun given(R"({"machine":{"shutdownMs":null}})");
  given.tool.sendAt(10, stop);
  given.tool.raiseAt(20, TerminationSignal::interrupt);
  EXPECT_EQ(given.run(), endedWith(0));
  EXPECT_EQ(given.eventsAfterRunning(), Lines{hardStop});
}

TEST(RunEnds, OnceWhenSignalsArriveTwice) {
  HeadlessRun given(R"({"machine":{"stopMs":1000}})");
  given.tool.raiseAt(10, TerminationSignal::terminate);
  given.tool.raiseAt(20, TerminationSignal::interrupt);
  EXPECT_EQ(given.run(), endedWith(0));
  EXPECT_EQ(given.eventsAfterRunning(), Lines{hardStop});
  const Lines calls = given.tool.calls();
  EXPECT_EQ(std::count(calls.begin(), calls.end(), "machine.stop"), 2);
}

TEST(RunEnds, NotWhileTheHardStopDoesNotComplete) {
  HeadlessRun given(R"({"machine":{"stopMs":null}})");
  given.tool.raiseAt(10, TerminationSignal::terminate);
  EXPECT_EQ(given.run(), stillRunning());
  EXPECT_EQ(given.eventsAfterRunning(), Lines{});
}

TEST(RunEnds, NotWhileTheGuestIgnoresTheStop) {
  HeadlessRun given(R"({"machine":{"shutdownMs":null}})");
  given.tool.sendAt(10, stop);
  EXPECT_EQ(given.run(), stillRunning());
  EXPECT_EQ(given.eventsAfterRunning(), Lines{});
}

TEST(RunEnds, WithoutACrashOnAnErrorAfterASignal) {
  HeadlessRun given(R"({"machine":{"stopMs":null},
               "script":[{"atMs":100,"event":"stops-with-error","error":{"description":"burnt"}}]})");
  given.tool.raiseAt(10, TerminationSignal::terminate);
  EXPECT_EQ(given.run(), endedWith(0));
  EXPECT_EQ(given.eventsAfterRunning(),
            (Lines{error("boot-failed", "burnt"), stopped("burnt", false)}));
}

TEST(RunEnds, AfterARequestIfItsGuestShutsDownAfterASignal) {
  HeadlessRun given(
      R"({"machine":{"stopMs":null},"script":[{"atMs":3000,"event":"guest-stops"}]})");
  given.tool.raiseAt(10, TerminationSignal::interrupt);
  EXPECT_EQ(given.run(), endedWith(0));
  EXPECT_EQ(given.eventsAfterRunning(),
            Lines{stopped("guest stopped after host stop request after 3s (was running)")});
}

TEST(RunEnds, AtTheEndOfInputAsAfterAStopCommand) {
  HeadlessRun given;
  given.tool.closeInputAt(10);
  EXPECT_EQ(given.run(), endedWith(0));
  EXPECT_EQ(given.eventsAfterRunning(),
            Lines{stopped("guest stopped after host stop request after 0s (was running)")});
}

TEST(RunEnds, SayingThatTheGuestNeverRanIfItStopsBefore) {
  HeadlessRun given(
      R"({"machine":{"startMs":1000},"script":[{"atMs":500,"event":"guest-stops"}]})");
  EXPECT_EQ(given.run(), endedWith(0));
  EXPECT_EQ(given.tool.events(),
            (Lines{ready, starting,
                   stopped("guest stopped on its own after 0s (never reached running)")}));
}

TEST(RunEnds, BeforeItSaysThatItRunsIfTheGuestStopsAtOnce) {
  // The guest's end is queued before the run goes on behind the start's completion.
  HeadlessRun given(R"({"script":[{"atMs":0,"event":"guest-stops"}]})");
  EXPECT_EQ(given.run(), endedWith(0));
  EXPECT_EQ(given.tool.events(),
            (Lines{ready, starting,
                   stopped("guest stopped on its own after 0s (never reached running)")}));
}

TEST(RunEnds, CountingWholeSecondsFromTheMachinesCreation) {
  HeadlessRun given(
      R"({"machine":{"startMs":30000},"script":[{"atMs":59900,"event":"guest-stops"}]})");
  EXPECT_EQ(given.run(), endedWith(0));
  EXPECT_EQ(given.eventsAfterRunning(),
            Lines{stopped("guest stopped on its own after 59s (was running)")});
}

TEST(RunEnds, WithStatus0ShouldTheEventLoopReturn) {
  HeadlessRun given;
  given.tool.system().loop().returnsWhenIdle = true;
  EXPECT_EQ(given.run(), endedWith(0));
  EXPECT_EQ(given.eventsAfterRunning(), Lines{});
}

TEST(RunEnds, WithAnErrorIfTheEventLoopCannotWait) {
  HeadlessRun given;
  given.tool.system().loop().outcome = platform::error("", 1, "no more waiting");
  EXPECT_EQ(given.run(), endedWith(1));
  EXPECT_EQ(given.tool.events(), (Lines{ready, starting, error("boot-failed", "no more waiting"),
                                        stopped("no more waiting", true)}));
}

// --- What happens on the way ---

TEST(Running, IgnoresASecondStop) {
  HeadlessRun given(R"({"machine":{"shutdownMs":3000}})");
  given.tool.sendAt(10, stop + stop);
  given.tool.sendAt(20, stop);
  given.tool.closeInputAt(30);
  EXPECT_EQ(given.run(), endedWith(0));
  EXPECT_EQ(given.eventsAfterRunning(),
            Lines{stopped("guest stopped after host stop request after 3s (was running)")});
  const Lines calls = given.tool.calls();
  EXPECT_EQ(std::count(calls.begin(), calls.end(), "machine.requestStop"), 1);
}

TEST(Running, PausesAndResumesAsOftenAsAsked) {
  HeadlessRun given(R"({"machine":{"pauseMs":100,"resumeMs":100}})");
  for (int at = 1000; at < 5000; at += 2000) {
    given.tool.sendAt(at, pause);
    given.tool.sendAt(at + 1000, resume);
  }
  EXPECT_EQ(given.run(), stillRunning());
  EXPECT_EQ(given.eventsAfterRunning(), (Lines{paused, resumed, paused, resumed}));
}

TEST(Running, RefusesAPauseAndAResumeByTheState) {
  HeadlessRun given;
  given.tool.sendAt(10, resume);
  given.tool.sendAt(20, pause);
  given.tool.sendAt(30, pause);
  EXPECT_EQ(given.run(), stillRunning());
  EXPECT_EQ(given.eventsAfterRunning(),
            (Lines{error("resume-refused", "cannot resume the guest: the VM is running"), paused,
                   error("pause-refused", "cannot pause the guest: the VM is paused")}));
}

TEST(Running, NamesTheStateInBetween) {
  HeadlessRun given(R"({"machine":{"startMs":50,"pauseMs":100,"resumeMs":100}})");
  given.tool.sendAt(10, pause);    // starting
  given.tool.sendAt(100, pause);   // works
  given.tool.sendAt(110, resume);  // pausing
  given.tool.sendAt(300, resume);  // works
  given.tool.sendAt(310, pause);   // resuming
  EXPECT_EQ(given.run(), stillRunning());
  EXPECT_EQ(
      given.tool.events(),
      (Lines{ready, starting, error("pause-refused", "cannot pause the guest: the VM is starting"),
             running, error("resume-refused", "cannot resume the guest: the VM is pausing"), paused,
             error("pause-refused", "cannot pause the guest: the VM is resuming"), resumed}));
}

TEST(Running, RefusesAPauseInTheErrorState) {
  HeadlessRun given(R"({"script":[{"atMs":5,"event":"enters-error-state"}]})");
  given.tool.sendAt(10, pause);
  EXPECT_EQ(given.run(), stillRunning());
  EXPECT_EQ(given.eventsAfterRunning(),
            Lines{error("pause-refused", "cannot pause the guest: the VM is in an error state")});
}

TEST(Running, GoesOnWhenAPauseFails) {
  HeadlessRun given(R"({"machine":{"pauseError":{"description":"not now"}}})");
  given.tool.sendAt(10, pause);
  EXPECT_EQ(given.run(), stillRunning());
  EXPECT_EQ(given.eventsAfterRunning(),
            Lines{error("pause-refused", "pausing the guest failed: not now")});
}

TEST(Running, GoesOnWhenAResumeFails) {
  HeadlessRun given(R"({"machine":{"resumeError":{"description":"stuck"}}})");
  given.tool.sendAt(10, pause);
  given.tool.sendAt(20, resume);
  EXPECT_EQ(given.run(), stillRunning());
  EXPECT_EQ(given.eventsAfterRunning(),
            (Lines{paused, error("resume-refused", "resuming the guest failed: stuck")}));
}

TEST(Running, OnlyWarnsOfALostNetwork) {
  HeadlessRun given(
      R"({"script":[{"atMs":5,"event":"network-disconnects","error":{"description":"cable"}}]})");
  EXPECT_EQ(given.run(), stillRunning());
  EXPECT_EQ(given.eventsAfterRunning(), Lines{});
  EXPECT_EQ(given.tool.warnings(), "parlen-mac-vm: network attachment disconnected (cable)\n");
}

TEST(Running, SaysThatTheDiskHoldsTheGuestAndGoesOn) {
  HeadlessRun given(
      R"({"script":[{"atMs":5,"event":"disk-fills","error":{"description":"No space left"}},
                    {"atMs":15,"event":"disk-has-room"}]})");
  given.tool.sendAt(10, pause);
  given.tool.sendAt(20, resume);
  EXPECT_EQ(given.run(), stillRunning());
  EXPECT_EQ(given.eventsAfterRunning(),
            (Lines{error("pause-refused", "cannot pause the guest: the VM is paused"), resumed}));
  EXPECT_EQ(given.tool.warnings(),
            "parlen-mac-vm: the guest is paused: writing its disk failed (No space left); resuming "
            "tries again\n");
}

TEST(RunEnds, WithACrashWhenTheGuestPanics) {
  HeadlessRun given(R"({"script":[{"atMs":5,"event":"guest-panics"}]})");
  EXPECT_EQ(given.run(), endedWith(1));
  const std::string reason = "the guest's operating system has crashed";
  EXPECT_EQ(given.eventsAfterRunning(),
            (Lines{error("boot-failed", reason), stopped(reason, true)}));
}

// --- Before the machine starts ---

TEST(Starting, NeedsADirectory) {
  HeadlessRun given;
  given.tool.write("file", "");
  for (const std::string& path : {given.tool.path("file"), given.tool.path("none/")}) {
    EXPECT_EQ(given.tool.run({"run", "--bundle", path}), endedWith(1));
    EXPECT_EQ(given.tool.events().back(), error("bundle-missing", "no VM bundle at " + path));
  }
  EXPECT_EQ(given.tool.events().size(), 4U);
}

TEST(Starting, ValidatesBeforeAnythingStarts) {
  HeadlessRun given(R"({"configuration":{"validateError":{"description":"odd"}}})");
  EXPECT_EQ(given.run(), endedWith(1));
  EXPECT_EQ(given.tool.events(),
            (Lines{ready, error("boot-failed", "invalid VM configuration: odd")}));
  EXPECT_FALSE(given.tool.system().streams().isRead());
}

TEST(Starting, GoesOnInThisOrder) {
  HeadlessRun given;
  EXPECT_EQ(given.run(), stillRunning());
  EXPECT_EQ(
      given.tool.recording(),
      (Lines{ready, "configuration.validate", "machine.create", "reads input", "watches a signal",
             "watches a signal", starting, "machine.start", "application.setActivationPolicy",
             "process.disableAutomaticTermination", "application.run", running}));
  EXPECT_EQ(given.tool.trace()[3],
            R"({"call":"application.setActivationPolicy","policy":"prohibited"})");
  EXPECT_EQ(
      given.tool.trace()[4],
      R"({"call":"process.disableAutomaticTermination","reason":"a Background Desktop is running"})");
}

TEST(Starting, WatchesBothSignals) {
  HeadlessRun given;
  EXPECT_EQ(given.run(), stillRunning());
  EXPECT_EQ(given.tool.system().process().watched,
            (std::vector{TerminationSignal::terminate, TerminationSignal::interrupt}));
  EXPECT_EQ(terminationSources.size(), 2U);
}

TEST(Starting, MakesNoSharesForABundleThatItCannotRun) {
  for (const std::string missing : {"", "/HardwareModel", "/MachineIdentifier", "/Disk.img"}) {
    HeadlessRun given;
    std::filesystem::remove_all(given.bundle + missing);
    const std::string share = given.tool.path("share");
    const std::string logs = given.tool.path("logs");
    EXPECT_EQ(
        given.tool.run({"run", "--bundle", given.bundle, "--share", share, "--logs-share", logs}),
        endedWith(1));
    EXPECT_FALSE(given.tool.system().files().exists(share)) << missing;
    EXPECT_FALSE(given.tool.system().files().exists(logs)) << missing;
  }
}

TEST(Starting, StopsAMachineWhoseInputHasEndedBeforeItRan) {
  HeadlessRun given(R"({"machine":{"startMs":1000}})");
  given.tool.closeInputAt(0);
  EXPECT_EQ(given.run(), endedWith(0));
  EXPECT_EQ(given.tool.events(), (Lines{ready, starting, hardStop}));
}

}  // namespace
}  // namespace parlen::test
