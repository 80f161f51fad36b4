#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

#include "program.h"
#include "world.h"

namespace parlen::test {
namespace {

using Lines = std::vector<std::string>;
using testing::MatchesRegex;

/// One way in which a run ends, and what its parent sees.
struct Ending {
  std::string name;
  std::string scenario;
  Lines sent;       // command lines, sent once the guest runs
  int awaited = 0;  // so many events answer them before the signal is sent
  int signal = 0;   // sent after them
  bool reachesRunning = true;
  Lines events;  // regular expressions, after `running` (or `starting`)
  int status = 0;
};

std::ostream& operator<<(std::ostream& out, const Ending& ending) { return out << ending.name; }

class AnEnding : public testing::TestWithParam<Ending> {};

TEST_P(AnEnding, IsToldToTheParentAsItWas) {
  const Ending& ending = GetParam();
  const World world(ending.scenario);
  Program program({"run", "--bundle", world.makeBundle()}, world.environment());
  program.eventsUntil(ending.reachesRunning ? running : starting);
  for (const std::string& line : ending.sent) program.send(line + "\n");
  for (int i = 0; i < ending.awaited; ++i) program.event();
  if (ending.signal != 0) program.signal(ending.signal);

  const Lines events = program.remainingEvents();

  EXPECT_EQ(events.size(), ending.events.size()) << testing::PrintToString(events);
  for (std::size_t i = 0; i < std::min(events.size(), ending.events.size()); ++i) {
    EXPECT_THAT(events[i], MatchesRegex(ending.events[i]));
  }
  EXPECT_EQ(program.wait(), exitedWith(ending.status));
}

std::string stoppedLine(const std::string& crashed, const std::string& reason) {
  return R"(\{"type":"state","state":"stopped","crashed":)" + crashed + R"(,"reason":")" + reason +
         R"("\})";
}

std::string errorLine(const std::string& code, const std::string& message) {
  return R"(\{"type":"error","code":")" + code + R"(","message":")" + message + R"("\})";
}

const std::string hard = stoppedLine("false", "host requested stop");
const std::string stop = R"({"type":"stop"})";

INSTANTIATE_TEST_SUITE_P(
    OfARun, AnEnding,
    testing::Values(
        Ending{.name = "StartFailed",
               .scenario = R"({"machine":{"startError":{"description":"no"}}})",
               .sent = {},
               .reachesRunning = false,
               .events = {errorLine("boot-failed", "no"), stoppedLine("true", "no")},
               .status = 1},
        Ending{.name = "GuestShutDownByItself",
               .scenario = R"({"script":[{"atMs":50,"event":"guest-stops"}]})",
               .sent = {},
               .events = {stoppedLine("false",
                                      "guest stopped on its own after [0-9]+s \\(was running\\)")},
               .status = 0},
        Ending{
            .name = "GuestShutDownAfterAStopRequest",
            .scenario = R"({"machine":{"shutdownMs":20}})",
            .sent = {stop},
            .events = {stoppedLine(
                "false", "guest stopped after host stop request after [0-9]+s \\(was running\\)")},
            .status = 0},
        Ending{.name = "HardStopBecauseTheRequestFailed",
               .scenario = R"({"machine":{"requestStopError":{"description":"deaf"}}})",
               .sent = {stop},
               .events = {hard},
               .status = 0},
        Ending{.name = "HardStopBecauseTheRequestIsImpossible",
               .scenario = R"({"machine":{"startMs":60000}})",
               .sent = {stop},
               .reachesRunning = false,
               .events = {hard},
               .status = 0},
        Ending{.name = "HardStopBySigterm",
               .scenario = R"({"machine":{"stopMs":20}})",
               .sent = {},
               .signal = SIGTERM,
               .events = {hard},
               .status = 0},
        Ending{.name = "HardStopBySigintDuringAnOrderlyStop",
               .scenario = R"({"machine":{"shutdownMs":null}})",
               .sent = {stop,
                        R"({"type":"pause"})"},  // the pause's event shows that the stop was taken
               .awaited = 1,
               .signal = SIGINT,
               .events = {hard},
               .status = 0},
        Ending{.name = "StoppedWithAnError",
               .scenario = R"({"script":[{"atMs":50,"event":"stops-with-error",
                                "error":{"description":"burnt"}}]})",
               .sent = {},
               .events = {errorLine("boot-failed", "burnt"), stoppedLine("true", "burnt")},
               .status = 1},
        Ending{.name = "StoppedWithTheLimitsError",
               .scenario = R"({"script":[{"atMs":50,"event":"stops-with-error",
                                "error":{"domain":"VZErrorDomain","code":6,"description":"full"}}]})",
               .sent = {},
               .events = {errorLine("vm-limit", "full"), stoppedLine("true", "full")},
               .status = 1},
        Ending{.name = "StoppedWithAnErrorWhileStopping",
               .scenario = R"({"machine":{"shutdownMs":null},"script":[{"atMs":3000,
                                "event":"stops-with-error","error":{"description":"burnt"}}]})",
               .sent = {stop},
               .events = {errorLine("boot-failed", "burnt"), stoppedLine("false", "burnt")},
               .status = 0}),
    [](const auto& tested) { return tested.param.name; });

TEST(ARun, EndsOrderlyWhenItsInputEnds) {
  const World world;
  Program program({"run", "--bundle", world.makeBundle()}, world.environment());
  program.eventsUntil(running);
  program.send(R"({"type":"pause"})");  // without its line feed it is no command
  program.closeInput();
  EXPECT_THAT(program.remainingEvents(),
              testing::ElementsAre(testing::HasSubstr("after host stop request after")));
  EXPECT_EQ(program.wait(), exitedWith(0));
}

TEST(ARun, DoesNotSurviveItsParentsEndOfReading) {
  const World world;
  Program program({"run", "--bundle", world.makeBundle()}, world.environment());
  program.eventsUntil(running);
  program.closeOutput();
  program.send("{\"type\":\"pause\"}\n");
  EXPECT_EQ(program.wait(), killedBy(SIGPIPE));
}

}  // namespace
}  // namespace parlen::test
