#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <map>
#include <ostream>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "program.h"
#include "world.h"

/// The same creation or session on the macOS host and on the simulated one: the same lines, the
/// same warnings and, call for call, the same trace.
namespace parlen::test {
namespace {

using Lines = std::vector<std::string>;

/// What a parent does next.
struct Step {
  std::string sent;     // command lines, each with its line feed; empty: none
  std::string awaited;  // an event that must come before the next step; empty: none
  int signal = 0;       // sent after that
};

/// One run of a guest.
struct Session {
  std::string name;
  std::string scenario = "{}";
  Lines options = {};
  std::vector<Step> steps = {};  // none: the run ends by itself
  std::string settings = {};     // of the bundle; empty: those that `create` has written
  std::string story = {};        // the story of the runner's tests that it tells; empty: none
};

std::ostream& operator<<(std::ostream& out, const Session& session) { return out << session.name; }

/// What came out of a session.
struct Record {
  Lines events;
  std::string warnings;
  Exit exit;
  std::string trace;
};

/// The trace without the times at which things happened.
std::string withoutTimes(const std::string& trace) {
  static const std::regex times(R"(("ms"|"timestamp"):[0-9.e+-]+)");
  return std::regex_replace(trace, times, "$1:0");
}

/// The events without the seconds that a run has lasted: the two runs take their own time.
Lines withoutSeconds(Lines events) {
  static const std::regex seconds(" after [0-9]+s ");
  for (std::string& event : events) event = std::regex_replace(event, seconds, " after 0s ");
  return events;
}

Environment on(const std::string& host, const World& world) {
  Environment environment = world.environment();
  environment["PARLEN_HOST"] = host;
  return environment;
}

void append(Lines& all, const Lines& more) { all.insert(all.end(), more.begin(), more.end()); }

Record play(const Session& session, const World& world, const std::string& host) {
  Lines arguments = {"run", "--bundle", world.path("vm")};
  append(arguments, session.options);
  Program program(arguments, on(host, world));
  Record record;
  for (const Step& step : session.steps) {
    if (!step.sent.empty()) program.send(step.sent);
    if (!step.awaited.empty()) append(record.events, program.eventsUntil(step.awaited));
    if (step.signal != 0) program.signal(step.signal);
  }
  append(record.events, program.remainingEvents());
  record.events = withoutSeconds(std::move(record.events));
  record.exit = program.wait();
  record.warnings = program.warnings();
  record.trace = withoutTimes(world.read("trace.jsonl"));
  return record;
}

/// The trace of a story without what this program's runs have of their own: the times, the bundle's
/// name and what is in it.
std::string asStory(const std::string& trace) {
  static const std::regex own(R"re(("configuration":|"title":"Parlen VM ).*)re");
  return std::regex_replace(withoutTimes(trace), own, "$1");
}

std::string storyIn(const std::filesystem::path& file) {
  std::ostringstream text;
  text << std::ifstream(file, std::ios::binary).rdbuf();
  return asStory(text.str());
}

const std::filesystem::path stories = PARLEN_STORIES;

class TwoHosts : public testing::TestWithParam<Session> {};

TEST_P(TwoHosts, AreToldAndTellTheSame) {
  const Session& session = GetParam();
  const World world(session.scenario);
  world.makeBundle();
  if (!session.settings.empty()) world.write("vm/vm.json", session.settings);

  const Record simulated = play(session, world, "simulated");
  const Record macos = play(session, world, "macos");

  EXPECT_EQ(macos.events, simulated.events);
  EXPECT_EQ(macos.warnings, simulated.warnings);
  EXPECT_EQ(macos.exit, simulated.exit);
  EXPECT_EQ(macos.trace, simulated.trace);
  EXPECT_GT(simulated.events.size(), 1U);
  if (!session.story.empty()) {
    EXPECT_EQ(asStory(macos.trace), storyIn(stories / session.story));
  }
}

const std::string pause = "{\"type\":\"pause\"}\n";
const std::string resume = "{\"type\":\"resume\"}\n";
const std::string stop = "{\"type\":\"stop\"}\n";
const std::string show = "{\"type\":\"window\",\"show\":true,\"title\":\"Sign in\"}\n";
const std::string hide = "{\"type\":\"window\",\"show\":false}\n";

Step until(const std::string& event) { return {.sent = {}, .awaited = event}; }
Step send(const std::string& lines, const std::string& event = {}) {
  return {.sent = lines, .awaited = event};
}
Step signal(int number) { return {.sent = {}, .awaited = running, .signal = number}; }

/// Runs a guest and stops it.
std::vector<Step> stopped() { return {until(running), send(stop)}; }

INSTANTIATE_TEST_SUITE_P(
    AGuest, TwoHosts,
    testing::Values(
        Session{.name = "IsStopped", .steps = stopped()},
        Session{.name = "IsPausedAndResumed",
                .steps = {until(running), send(pause, paused), send(resume, resumed), send(stop)}},
        Session{.name = "IsStoppedWhilePaused",
                .steps = {until(running), send(pause, paused), send(stop)}},
        Session{.name = "IsNotPaused",
                .scenario = R"({"machine":{"pauseError":{"description":"no"}}})",
                .steps = {until(running), send(pause + stop)}},
        Session{.name = "IsNotResumed",
                .scenario = R"({"machine":{"resumeError":{"description":"no"}}})",
                .steps = {until(running), send(pause, paused), send(resume + stop)}},
        Session{.name = "IsStoppedHard",
                .scenario = R"({"machine":{"canRequestStop":false}})",
                .steps = stopped()},
        Session{.name = "RefusesToStop",
                .scenario = R"({"machine":{"requestStopError":{"description":"deaf"}}})",
                .steps = stopped()},
        Session{.name = "IsStoppedBySigterm", .steps = {signal(SIGTERM)}},
        Session{.name = "IsStoppedBySigintWhileItStops",
                .scenario = R"({"machine":{"shutdownMs":null}})",
                .steps = {until(running),
                          send(stop + pause, paused),
                          {.sent = {}, .awaited = {}, .signal = SIGINT}}},
        Session{.name = "FailsToStart",
                .scenario = R"({"machine":{"startError":{"domain":"VZErrorDomain","code":6}}})",
                .steps = {until(starting)}},
        Session{.name = "StopsByItself",
                .scenario = R"({"script":[{"atMs":50,"event":"guest-stops"}]})",
                .steps = {until(running)}},
        Session{.name = "StopsWithAnError",
                .scenario = R"({"script":[{"atMs":50,"event":"stops-with-error",
                                           "error":{"description":"gone"}}]})",
                .steps = {until(running)}},
        Session{.name = "LosesItsNetwork",
                .scenario = R"({"script":[{"atMs":50,"event":"network-disconnects",
                                           "error":{"description":"gone"}},
                                          {"atMs":100,"event":"guest-stops"}]})",
                .steps = {until(running)}},
        Session{.name = "EntersTheErrorState",
                .scenario = R"({"script":[{"atMs":0,"event":"enters-error-state"}]})",
                .steps = {until(running), send(stop)}}),
    [](const auto& tested) { return tested.param.name; });

INSTANTIATE_TEST_SUITE_P(
    AConfiguration, TwoHosts,
    testing::Values(
        Session{.name = "WithShares",
                .options = {"--share", "/tmp", "--logs-share", "/var/tmp"},
                .steps = stopped()},
        Session{.name = "WithoutAnAddress",
                .steps = stopped(),
                .settings = R"({"cpuCount":2,"diskGb":1,"memoryBytes":2147483648})"},
        Session{
            .name = "WithAnUnusableAddress",
            .steps = stopped(),
            .settings = R"({"cpuCount":2,"diskGb":1,"macAddress":"x","memoryBytes":2147483648})"},
        Session{.name = "WithTooManyProcessors",
                .steps = stopped(),
                .settings = R"({"cpuCount":64,"diskGb":1,"memoryBytes":2147483648})"},
        Session{.name = "WithTooMuchMemory",
                .steps = stopped(),
                .settings = R"({"cpuCount":2,"diskGb":1,"memoryBytes":1099511627776})"},
        Session{.name = "OfASmallHost",
                .scenario = R"({"host":{"processorCount":2,"maximumCPUCount":2,
                                "maximumMemorySize":1073741824}})"},
        Session{.name = "OfAHostThatRunsNone",
                .scenario = R"({"host":{"supported":false}})",
                .steps = stopped()},
        Session{.name = "OfAnotherModel", .scenario = R"({"host":{"hardwareModels":["sim-2"]}})"},
        Session{.name = "WithADiskThatCannotBeOpened",
                .scenario = R"({"configuration":{"attachError":{"description":"no disk"}}})"},
        Session{.name = "ThatIsNotValid",
                .scenario = R"({"configuration":{"validateError":{"description":"no"}}})"}),
    [](const auto& tested) { return tested.param.name; });

const std::string installing =
    R"({"type":"window","show":true,"title":"Installing","detail":"step 2 of 3"})"
    "\n";
const std::string text = "{\"type\":\"text\",\"text\":\"Hi\\n\",\"delayMs\":20}\n";
const std::string chord = "{\"type\":\"key\",\"key\":\"cmd+shift+t\"}\n";

const std::vector<Session> windowSessions = {
    Session{.name = "IsTypedInto",
            .options = {"--gui"},
            .steps = {until(running), send(text + chord, keyDone), send(stop)}},
    Session{.name = "HasTheKeysInAnInnerView",
            .scenario = R"({"window":{"views":{"name":"guest","acceptsFirstResponder":false,
                                "subviews":[{"name":"frame","acceptsFirstResponder":false},
                                            {"name":"display"}]}}})",
            .options = {"--gui"},
            .steps = {until(running), send(text, textDone), send(chord, keyDone), send(show + hide),
                      send("{\"type\":\"key\",\"key\":\"return\"}\n", keyDone), send(stop)},
            .story = "typed_into.jsonl"},
    Session{.name = "HasNoViewForKeys",
            .scenario = R"({"window":{"views":{"acceptsFirstResponder":false}}})",
            .options = {"--gui"},
            .steps = {until(running), send(text + chord), send(stop)}},
    Session{.name = "CannotBuildAKey",
            .scenario = R"({"window":{"unbuildableKeyCodes":[4]}})",
            .options = {"--gui"},
            .steps = {until(running), send(text, textDone), send(stop)}},
    Session{.name = "HasNoScreen",
            .scenario = R"({"window":{"visibleFrame":null}})",
            .options = {"--gui"},
            .steps = stopped()},
    Session{.name = "IsOnASmallScreen",
            .scenario = R"({"window":{"visibleFrame":[10,20,640,400],"chrome":40}})",
            .options = {"--gui"},
            .steps = stopped()},
    Session{.name = "IsShownAndHiddenOnRequest",
            .steps = {until(running), send(show + hide + show + pause, paused), send(stop)}},
    Session{.name = "IsShownWithoutAScreen",
            .scenario = R"({"window":{"visibleFrame":null}})",
            .steps = {until(running), send(show + hide), send(stop)}},
    Session{.name = "IsUsedByAPerson",
            .scenario = R"({"machine":{"shutdownMs":200},
                                "script":[{"atMs":2000,"event":"clicks-later"},
                                          {"atMs":2100,"event":"clicks-done"},
                                          {"atMs":4000,"event":"closes-window"}]})",
            .steps = {until(running), send(installing + show + text, later), until(done),
                      send(hide + show, later), send(stop)},
            .story = "shown_on_request.jsonl"},
    Session{.name = "IsClosedByAPerson",
            .scenario = R"({"script":[{"atMs":500,"event":"closes-window"},
                                          {"atMs":800,"event":"guest-stops"}]})",
            .options = {"--gui"},
            .steps = {until(running)}}};

INSTANTIATE_TEST_SUITE_P(AWindow, TwoHosts, testing::ValuesIn(windowSessions),
                         [](const auto& tested) { return tested.param.name; });

TEST(TheStoriesOfTheRunner, AreAllTold) {
  std::set<std::string> told;
  for (const Session& session : windowSessions) told.insert(session.story);
  told.erase("");
  std::set<std::string> there;
  for (const auto& file : std::filesystem::directory_iterator(stories))
    there.insert(file.path().filename());
  EXPECT_EQ(told, there);
}

/// One bundle's creation.
struct Creation {
  std::string name;
  std::string scenario = "{}";
  std::string diskGb = "1";
  std::string image = R"({"simulatedRestoreImage":1,"hardwareModel":"sim-1"})";
};

std::ostream& operator<<(std::ostream& out, const Creation& creation) {
  return out << creation.name;
}

/// What is in a directory, with the lengths of the files: their bytes are partly random.
std::map<std::string, std::uintmax_t> filesIn(const std::string& directory) {
  std::map<std::string, std::uintmax_t> files;
  if (!std::filesystem::exists(directory)) return files;
  for (const auto& file : std::filesystem::directory_iterator(directory))
    files[file.path().filename()] = file.is_regular_file() ? file.file_size() : 0;
  return files;
}

/// The trace without what each creation has of its own.
std::string withoutIdentifiers(const std::string& trace) {
  static const std::regex random(R"(("machineIdentifier"|"macAddress"):"[^"]*")");
  return std::regex_replace(trace, random, "$1:0");
}

Record create(const Creation& creation, const World& world, const std::string& host) {
  const Finished created = finish({"create", "--ipsw", world.path("image"), "--bundle",
                                   world.path("vm"), "--disk-gb", creation.diskGb},
                                  on(host, world));
  return {created.events, created.warnings, created.exit,
          withoutIdentifiers(withoutTimes(world.read("trace.jsonl")))};
}

class TwoHostsCreate : public testing::TestWithParam<Creation> {};

TEST_P(TwoHostsCreate, AreToldAndTellTheSame) {
  const Creation& creation = GetParam();
  const World world(creation.scenario);
  world.write("image", creation.image);

  const Record simulated = create(creation, world, "simulated");
  const auto simulatedFiles = filesIn(world.path("vm"));
  std::filesystem::remove_all(world.path("vm"));
  const Record macos = create(creation, world, "macos");

  EXPECT_EQ(macos.events, simulated.events);
  EXPECT_EQ(macos.warnings, simulated.warnings);
  EXPECT_EQ(macos.exit, simulated.exit);
  EXPECT_EQ(macos.trace, simulated.trace);
  EXPECT_EQ(filesIn(world.path("vm")), simulatedFiles);
  EXPECT_GT(simulated.events.size(), 1U);
}

INSTANTIATE_TEST_SUITE_P(
    ABundle, TwoHostsCreate,
    testing::Values(
        Creation{.name = "IsCreated"}, Creation{.name = "HasALargeDisk", .diskGb = "80"},
        Creation{.name = "IsInstalledSlowly",
                 .scenario = R"({"install":{"progress":[0,0.5,0.25,1.5,1],"stepMs":20}})"},
        Creation{.name = "IsNotInstalled",
                 .scenario = R"({"install":{"error":{"description":"no","code":10007}}})"},
        Creation{.name = "IsOfAnotherModel",
                 .scenario = R"({"host":{"hardwareModels":["sim-2"]}})"},
        Creation{.name = "IsNotOfAnImage", .image = "garbage"},
        Creation{.name = "IsOnAHostThatRunsNone", .scenario = R"({"host":{"supported":false}})"},
        Creation{.name = "IsOnASmallHost",
                 .scenario = R"({"host":{"processorCount":2,"maximumCPUCount":2,
                                 "maximumMemorySize":1073741824}})"}),
    [](const auto& tested) { return tested.param.name; });

}  // namespace
}  // namespace parlen::test
