#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>

#include "program.h"
#include "world.h"

/// Two processes and one bundle. The races are repeated PARLEN_RACES times, 10 by default.
namespace parlen::test {
namespace {

using Lines = std::vector<std::string>;
using testing::ElementsAre;
using testing::HasSubstr;

const std::string inUse = "the guest is in use by another process";

// --- One writer or many readers ---

TEST(ABundle, IsRunByOneProcessOnly) {
  const World world;
  const std::string bundle = world.makeBundle();
  Program first({"run", "--bundle", bundle});
  first.eventsUntil(running);

  const Finished second = finish({"run", "--bundle", bundle});

  EXPECT_EQ(second.exit, exitedWith(1));
  EXPECT_EQ(second.events, (Lines{ready, error("boot-failed", inUse), stopped(inUse, true)}));
  first.send("{\"type\":\"pause\"}\n");
  EXPECT_EQ(first.event(), paused) << "the first one runs on";
}

TEST(ABundle, IsNotClonedWhileItRuns) {
  const World world;
  const std::string bundle = world.makeBundle();
  Program run({"run", "--bundle", bundle});
  run.eventsUntil(running);

  const Finished clone = finish({"clone", "--from", bundle, "--to", world.path("copy")});

  EXPECT_EQ(clone.exit, exitedWith(1));
  EXPECT_EQ(clone.events, Lines{error("clone-failed", inUse)});
  EXPECT_FALSE(std::filesystem::exists(world.path("copy")));
}

TEST(ABundle, IsReportedOnWhileItRuns) {
  const World world;
  const std::string bundle = world.makeBundle();
  const Lines atRest = finish({"status", "--bundle", bundle}).events;
  Program run({"run", "--bundle", bundle});
  run.eventsUntil(running);

  EXPECT_EQ(finish({"status", "--bundle", bundle}).events, atRest);
}

TEST(ABundle, IsFreeAgainWhenItsProcessWasKilled) {
  const World world;
  const std::string bundle = world.makeBundle();
  Program first({"run", "--bundle", bundle});
  first.eventsUntil(running);
  first.signal(SIGKILL);
  first.wait();

  Program second({"run", "--bundle", bundle});

  second.eventsUntil(running);
}

TEST(ABundle, IsNotRunBeforeItIsInstalled) {
  const World world(R"({"install":{"stepMs":60000}})");
  world.write("image", R"({"simulatedRestoreImage":1,"hardwareModel":"sim-1"})");
  const std::string bundle = world.path("vm");
  Program create({"create", "--ipsw", world.path("image"), "--bundle", bundle},
                 world.environment());
  create.eventsUntil(starting);

  EXPECT_THAT(finish({"run", "--bundle", bundle}).events,
              ElementsAre(ready, error("boot-failed", inUse), stopped(inUse, true)));
  EXPECT_EQ(finish({"clone", "--from", bundle, "--to", world.path("copy")}).events,
            Lines{error("clone-failed", inUse)});
}

// --- Races ---

int races() {
  const char* number = std::getenv("PARLEN_RACES");
  return number != nullptr ? std::atoi(number) : 10;
}

/// How the two programs of a race ended.
struct Race {
  Finished first;
  Finished second;
};

Finished toItsEnd(Program& program) {
  Finished finished;
  finished.events = program.remainingEvents();
  finished.exit = program.wait();
  return finished;
}

/// Starts both at once; neither has input.
Race race(const Lines& one, const Lines& other) {
  Program first(one);
  Program second(other);
  first.closeInput();
  second.closeInput();
  Race result;
  result.first = toItsEnd(first);
  result.second = toItsEnd(second);
  return result;
}

bool succeeded(const Finished& program) { return program.exit == exitedWith(0); }

/// A world with an image, and with a bundle "vm" to clone.
class Races : public testing::Test {
 protected:
  Lines create() {
    return {"create", "--ipsw", world_.path("image"), "--bundle", path_, "--disk-gb", "1"};
  }
  Lines clone() { return {"clone", "--from", source_, "--to", path_}; }

  /// All that a guest consists of is there, and it runs.
  void expectWhole() {
    for (const std::string name : {"/HardwareModel", "/AuxiliaryStorage"}) {
      EXPECT_EQ(world_.read("new" + name), world_.read("vm" + name));
    }
    EXPECT_EQ(std::filesystem::file_size(path_ + "/Disk.img"), std::uintmax_t{1} << 30U);
    EXPECT_TRUE(std::filesystem::is_directory(path_ + "/share"));
    EXPECT_THAT(finish({"status", "--bundle", path_}).events,
                ElementsAre(HasSubstr(R"("diskGb":1)")));
    Program({"run", "--bundle", path_}).eventsUntil(running);
  }

  /// One of the two has made the bundle; the other one has found it there.
  void expectOneWinner(const Race& race) {
    ASSERT_NE(succeeded(race.first), succeeded(race.second))
        << testing::PrintToString(race.first.events) << testing::PrintToString(race.second.events);
    const Finished& loser = succeeded(race.first) ? race.second : race.first;
    EXPECT_EQ(loser.events.back(),
              error("bundle-exists", path_ + " already exists — VMs are pets, not cattle"));
    expectWhole();
    std::filesystem::remove_all(path_);
  }

  World world_;
  std::string source_ = world_.makeBundle();
  std::string path_ = world_.path("new");
};

TEST_F(Races, OfTwoCreationsOneMakesTheBundle) {
  for (int i = 0; i < races() && !HasFailure(); ++i) expectOneWinner(race(create(), create()));
}

TEST_F(Races, OfACreationAndACloneOneMakesTheBundle) {
  int created = 0;
  for (int i = 0; i < races() && !HasFailure(); ++i) {
    const Race result = i % 2 == 0 ? race(create(), clone()) : race(clone(), create());
    created += succeeded(i % 2 == 0 ? result.first : result.second) ? 1 : 0;
    expectOneWinner(result);
  }
  RecordProperty("created", created);
}

TEST_F(Races, OfTwoClonesOneMakesTheBundle) {
  for (int i = 0; i < races() && !HasFailure(); ++i) expectOneWinner(race(clone(), clone()));
}

TEST_F(Races, OfACloneAndARunNoneDisturbsTheOther) {
  int cloned = 0;
  int ran = 0;
  for (int i = 0; i < races() && !HasFailure(); ++i) {
    const Lines run = {"run", "--bundle", source_};
    const Race result = i % 2 == 0 ? race(clone(), run) : race(run, clone());
    const Finished& theClone = i % 2 == 0 ? result.first : result.second;
    const Finished& theRun = i % 2 == 0 ? result.second : result.first;
    cloned += succeeded(theClone) ? 1 : 0;
    ran += succeeded(theRun) ? 1 : 0;
    EXPECT_TRUE(succeeded(theClone) || succeeded(theRun));
    if (succeeded(theClone)) expectWhole();
    if (!succeeded(theClone)) {
      EXPECT_EQ(theClone.events, Lines{error("clone-failed", inUse)});
    }
    if (!succeeded(theRun)) {
      EXPECT_EQ(theRun.events.back(), stopped(inUse, true));
    }
    std::filesystem::remove_all(path_);
  }
  RecordProperty("cloned", cloned);
  RecordProperty("ran", ran);
}

}  // namespace
}  // namespace parlen::test
