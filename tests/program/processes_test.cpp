#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>

#include "program.h"
#include "world.h"

namespace parlen::test {
namespace {

TEST(Signals, ThatAreNotWatchedKeepTheirEffect) {
  for (const int signal : {SIGHUP, SIGQUIT, SIGUSR1}) {
    const World world;
    Program program({"run", "--bundle", world.makeBundle()}, world.environment());
    program.eventsUntil(running);
    program.signal(signal);
    EXPECT_EQ(program.wait(), killedBy(signal));
  }
}

TEST(Signals, EndAStatusOrACreateAsTheyEndAnyProgram) {
  const World world(R"({"restoreImage":{"loadMs":60000}})");
  world.write("image", R"({"simulatedRestoreImage":1,"hardwareModel":"sim-1"})");
  Program program({"create", "--ipsw", world.path("image"), "--bundle", world.path("vm")},
                  world.environment());
  EXPECT_EQ(program.event(), ready);
  program.signal(SIGTERM);
  EXPECT_EQ(program.wait(), killedBy(SIGTERM));
}

TEST(Signals, MayArriveManyTimes) {
  const World world(R"({"machine":{"stopMs":200}})");
  Program program({"run", "--bundle", world.makeBundle()}, world.environment());
  program.eventsUntil(running);
  for (int i = 0; i < 50; ++i) program.signal(i % 2 == 0 ? SIGTERM : SIGINT);
  EXPECT_EQ(program.remainingEvents(), std::vector<std::string>{hardStop});
  EXPECT_EQ(program.wait(), exitedWith(0));
}

TEST(Signals, WorkWhenTheParentIgnoredThem) {
  const World world;
  Program program({"run", "--bundle", world.makeBundle()}, world.environment(), [] {
    ::signal(SIGTERM, SIG_IGN);
    ::signal(SIGINT, SIG_IGN);
  });
  program.eventsUntil(running);
  program.signal(SIGINT);
  EXPECT_EQ(program.remainingEvents(), std::vector<std::string>{hardStop});
}

TEST(Signals, WorkWhenTheParentBlockedThem) {
  const World world;
  Program program({"run", "--bundle", world.makeBundle()}, world.environment(), [] {
    sigset_t all;
    sigfillset(&all);
    sigprocmask(SIG_SETMASK, &all, nullptr);
  });
  program.eventsUntil(running);
  program.signal(SIGTERM);
  EXPECT_EQ(program.remainingEvents(), std::vector<std::string>{hardStop});
}

}  // namespace
}  // namespace parlen::test
