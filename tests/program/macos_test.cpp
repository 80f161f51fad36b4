#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <string>
#include <vector>

#include "program.h"
#include "world.h"

/// What the macOS host alone has to cope with: no login session, an application that is not made
/// the active one, a person who quits the program, calls of AppKit that raise.
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

const std::string key = "{\"type\":\"key\",\"key\":\"cmd+a\",\"delayMs\":20}\n";
const std::string show = "{\"type\":\"window\",\"show\":true,\"title\":\"Sign in\"}\n";
const std::string hide = "{\"type\":\"window\",\"show\":false}\n";
const std::string pause = "{\"type\":\"pause\"}\n";

/// The warnings of a run to which `sent` is sent, and which goes on until `awaited` and is stopped
/// then, while every message `raising` raises.
std::string warningsOfRun(const Lines& options, const std::string& sent, const std::string& awaited,
                          const std::string& raising) {
  // The view that takes the keys lies inside of the machine's.
  const World world(R"({"window":{"views":{"name":"guest","acceptsFirstResponder":false,
                                           "subviews":[{"name":"display"}]}}})");
  Lines arguments = {"run", "--bundle", world.makeBundle()};
  arguments.insert(arguments.end(), options.begin(), options.end());
  Program program(arguments, with(world, "PARLEN_RAISES", raising));
  program.eventsUntil(running);
  program.send(sent);
  program.eventsUntil(awaited);
  program.signal(SIGTERM);
  EXPECT_EQ(program.remainingEvents(), Lines{hardStop});
  EXPECT_EQ(program.wait(), exitedWith(0));
  return program.warnings();
}

std::string warningOf(const std::string& raising) {
  return "parlen-mac-vm: the window system failed: " + raising +
         " (NSInternalInconsistencyException)\n";
}

const std::string windowsInitializer = "initWithContentRect:styleMask:backing:defer:";

TEST(AWindowThatIsNotMade, IsOneWarningOfARunThatShowsIt) {
  EXPECT_EQ(warningsOfRun({"--gui"}, key, keyDone, windowsInitializer),
            warningOf(windowsInitializer));
}

TEST(AWindowThatIsNotMade, IsOneWarningOfARunThatIsToShowIt) {
  EXPECT_EQ(warningsOfRun({}, show + hide + show + pause, paused, windowsInitializer),
            warningOf(windowsInitializer));
}

TEST(AnApplicationThatIsNotMade, LeavesAGuestThatIsNotSeen) {
  EXPECT_THAT(warningsOfRun({}, show + hide + pause, paused, "sharedApplication"),
              HasSubstr("cannot show the guest: "));
}

/// A message whose exception must not end the run.
class AMessageThatRaises : public testing::TestWithParam<std::string> {};

std::string nameOf(const testing::TestParamInfo<std::string>& tested) {
  std::string name = tested.param;
  std::ranges::replace(name, ':', '_');
  return name;
}

using AWindowFromTheStart = AMessageThatRaises;
TEST_P(AWindowFromTheStart, StaysWithItsGuest) {
  EXPECT_THAT(warningsOfRun({"--gui"}, key, keyDone, GetParam()), HasSubstr(warningOf(GetParam())));
}

INSTANTIATE_TEST_SUITE_P(
    WithAMessageThatRaises, AWindowFromTheStart,
    testing::Values("acceptsFirstResponder", "activateIgnoringOtherApps:",
                    "contentRectForFrameRect:", "firstResponder", "frame", "initWithFrame:",
                    "keyEventWithType:location:modifierFlags:timestamp:windowNumber:context:"
                    "characters:charactersIgnoringModifiers:isARepeat:keyCode:",
                    "layoutIfNeeded", "makeFirstResponder:", "makeKeyAndOrderFront:",
                    "orderFrontRegardless", "screen", "sendEvent:", "setContentAspectRatio:",
                    "setContentView:", "setFrame:display:", "setTitle:", "subviews", "visibleFrame",
                    "window", "windowNumber"),
    nameOf);

using AWindowOnRequest = AMessageThatRaises;
TEST_P(AWindowOnRequest, StaysWithItsGuest) {
  EXPECT_THAT(warningsOfRun({}, show + hide + show + pause, paused, GetParam()),
              HasSubstr(warningOf(GetParam())));
}

INSTANTIATE_TEST_SUITE_P(
    WithAMessageThatRaises, AWindowOnRequest,
    testing::Values("addTitlebarAccessoryViewController:", "initWithNibName:bundle:", "isVisible",
                    "labelWithString:", "mainMenu", "orderOut:", "setInitialFirstResponder:",
                    "setMainMenu:", "setReleasedWhenClosed:", "setStringValue:"),
    nameOf);

}  // namespace
}  // namespace parlen::test
