#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

#include "program.h"
#include "world.h"

/// What the macOS host alone has to cope with: no login session, an application that is not made
/// the active one, a person who quits the program.
namespace parlen::test {
namespace {

using Lines = std::vector<std::string>;
using testing::ElementsAre;
using testing::HasSubstr;

Environment with(const World& world, const std::string& name, const std::string& value) {
  Environment environment = world.environment();
  environment[name] = value;
  return environment;
}

TEST(WithoutALoginSession, AGuestRunsAndIsStopped) {
  const World world;
  Program program({"run", "--bundle", world.makeBundle()}, with(world, "PARLEN_SESSION", "none"));
  program.eventsUntil(running);
  program.send("{\"type\":\"pause\"}\n");
  EXPECT_EQ(program.event(), paused);
  program.signal(SIGTERM);
  EXPECT_EQ(program.remainingEvents(), Lines{hardStop});
  EXPECT_EQ(program.wait(), exitedWith(0));
}

TEST(WithoutALoginSession, AWindowIsRefusedAndTheGuestRunsOn) {
  const World world;
  Program program({"run", "--bundle", world.makeBundle()}, with(world, "PARLEN_SESSION", "none"));
  program.eventsUntil(running);
  program.send("{\"type\":\"window\",\"show\":true}\n{\"type\":\"pause\"}\n");
  program.eventsUntil(paused);
  program.closeInput();
  program.remainingEvents();
  EXPECT_EQ(program.wait(), exitedWith(0));
  EXPECT_THAT(program.warnings(), HasSubstr("window"));
}

TEST(WithoutALoginSession, AGuestIsNotShownFromTheStart) {
  const World world;
  const Finished finished = finish({"run", "--gui", "--bundle", world.makeBundle()},
                                   with(world, "PARLEN_SESSION", "none"));
  ASSERT_GE(finished.events.size(), 3U);
  EXPECT_EQ(finished.events[0], ready);
  EXPECT_THAT(finished.events.rbegin()[1], HasSubstr("\"code\":\"boot-failed\""));
  EXPECT_THAT(finished.events.back(), HasSubstr("\"state\":\"stopped\",\"crashed\":true"));
  EXPECT_EQ(finished.exit, exitedWith(1)) << finished.warnings;
}

TEST(AnApplicationThatIsNotActive, TypesIntoItsWindow) {
  const World world;
  Program program({"run", "--gui", "--bundle", world.makeBundle()},
                  with(world, "PARLEN_ACTIVATION", "refused"));
  program.eventsUntil(running);
  program.send("{\"type\":\"key\",\"key\":\"cmd+a\",\"delayMs\":20}\n");
  program.eventsUntil(keyDone);
  // Command down, A down, A up, Command up.
  const std::string trace = world.read("trace.jsonl");
  std::size_t events = 0;
  for (std::size_t at = 0; (at = trace.find("application.sendEvent", at)) != std::string::npos;
       ++at)
    ++events;
  EXPECT_EQ(events, 4U) << trace;
}

TEST(AnApplicationThatIsNotActive, ShowsItsWindowBeforeTheActiveOnes) {
  const World world;
  Program program({"run", "--gui", "--bundle", world.makeBundle()},
                  with(world, "PARLEN_ACTIVATION", "refused"));
  program.eventsUntil(running);
  EXPECT_THAT(world.read("trace.jsonl"), HasSubstr("window.orderFrontRegardless"));
}

TEST(AProgramThatAPersonQuits, StopsItsGuestFirst) {
  const World world(R"({"machine":{"stopMs":20}})");
  Program program({"run", "--bundle", world.makeBundle()}, with(world, "PARLEN_QUIT_MS", "300"));
  program.eventsUntil(running);
  EXPECT_EQ(program.remainingEvents(), Lines{hardStop});
  EXPECT_EQ(program.wait(), exitedWith(0));
}

}  // namespace
}  // namespace parlen::test
