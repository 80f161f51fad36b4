#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
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

}  // namespace
}  // namespace parlen::test
