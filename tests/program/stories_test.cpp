#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <csignal>

#include "program.h"
#include "world.h"

namespace parlen::test {
namespace {

using Lines = std::vector<std::string>;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

TEST(TheProgram, CreatesReportsClonesAndRunsAGuest) {
  const World world;
  world.write("image", R"({"simulatedRestoreImage":1,"hardwareModel":"sim-1"})");

  const Finished creation = finish(
      {"create", "--ipsw", world.path("image"), "--bundle", world.path("vm"), "--disk-gb", "80"});
  EXPECT_EQ(creation.exit, exitedWith(0));
  EXPECT_THAT(creation.events,
              ElementsAre(ready, progress("0.0000"), starting, progress("0.2500"),
                          progress("0.5000"), progress("0.7500"), progress("1.0000"),
                          StartsWith(R"({"type":"created","bundle":"\/)")));

  const Finished status = finish({"status", "--bundle", world.path("vm")});
  EXPECT_EQ(status.exit, exitedWith(0));
  EXPECT_THAT(status.events, ElementsAre(HasSubstr(R"("diskBytes":85899345920,"diskGb":80)")));

  const Finished cloned = finish({"clone", "--from", world.path("vm"), "--to", world.path("copy")});
  EXPECT_EQ(cloned.exit, exitedWith(0));
  EXPECT_THAT(cloned.events, ElementsAre(HasSubstr(R"("machineIdentifier":"kept")")));
  struct stat disk{};
  ASSERT_EQ(stat(world.path("copy/Disk.img").c_str(), &disk), 0);
  EXPECT_EQ(disk.st_size, off_t{80} << 30U);
  EXPECT_LT(disk.st_blocks, 1000) << "the holes are still holes";

  Program run({"run", "--bundle", world.path("copy")}, world.environment());
  run.eventsUntil(running);
  run.send("{\"type\":\"pause\"}\n");
  EXPECT_EQ(run.event(), paused);
  run.send("{\"type\":\"resume\"}\n");
  EXPECT_EQ(run.event(), resumed);
  run.send("{\"type\":\"stop\"}\n");
  EXPECT_THAT(run.remainingEvents(), ElementsAre(HasSubstr("after host stop request")));
  EXPECT_EQ(run.wait(), exitedWith(0));
}

TEST(TheProgram, SaysHowItIsUsed) {
  const Finished finished = finish({});
  EXPECT_EQ(finished.exit, exitedWith(1));
  EXPECT_THAT(
      finished.events,
      ElementsAre(StartsWith(
          R"({"type":"error","code":"bad-usage","message":"usage: parlen-mac-vm <create)")));
}

TEST(TheProgram, PlacesAWindowForGivenNumbers) {
  const Finished finished =
      finish({"window-size-check", "--visible", "0,0,1440,875", "--chrome", "28"});
  EXPECT_EQ(finished.exit, exitedWith(0));
  EXPECT_THAT(finished.events,
              ElementsAre(R"({"type":"window-size","content":{"x":74,"y":20,"width":1291,)"
                          R"("height":806},"frame":{"x":74,"y":20,"width":1291,"height":834}})"));
}

TEST(TheProgram, RefusesAnUnknownHostBeforeAnythingElse) {
  for (const Lines& words : {Lines{}, Lines{"run", "--bundle", "/none"}, Lines{"status"}}) {
    const Finished finished = finish(words, {{"PARLEN_HOST", "cloud"}});
    EXPECT_EQ(finished.exit, exitedWith(1));
    EXPECT_EQ(finished.events, Lines{error("bad-usage", "unknown PARLEN_HOST 'cloud'")});
  }
}

TEST(TheProgram, RefusesAnUnusableScenarioBeforeAnythingElse) {
  const World world(R"({"machine":{"startMs":"soon"}})");
  Environment environment = world.environment();
  environment["PARLEN_HOST"] = "simulated";  // the only host that reads one
  const Finished finished = finish({"run", "--bundle", "/none"}, environment);
  EXPECT_EQ(finished.exit, exitedWith(1));
  EXPECT_THAT(finished.events,
              ElementsAre(testing::AllOf(HasSubstr("unusable scenario "), HasSubstr("startMs"))));
}

TEST(TheProgram, AbortsWithoutAnEventOnANumberThatNothingCanHold) {
  const World world;
  world.write("image", R"({"simulatedRestoreImage":1,"hardwareModel":"sim-1"})");
  const Finished creation = finish(
      {"create", "--ipsw", world.path("image"), "--bundle", world.path("vm"), "--disk-gb", "-1"});
  EXPECT_EQ(creation.exit, killedBy(SIGABRT));
  EXPECT_THAT(creation.events, ElementsAre(ready));

  const Finished window = finish({"window-size-check", "--visible", "0,0,9,9", "--guest", "0x5"});
  EXPECT_EQ(window.exit, killedBy(SIGABRT));
  EXPECT_THAT(window.events, ElementsAre());
}

}  // namespace
}  // namespace parlen::test
