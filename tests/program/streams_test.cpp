#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "program.h"
#include "support/posix_fixtures.h"
#include "world.h"

namespace parlen::test {
namespace {

using Lines = std::vector<std::string>;
using posix::Pipe;

TEST(StandardInput, IsDrainedWhileTheParentDoesNotRead) {
  // Refusals of 100 bytes fill the output's pipe long before the last command has been sent.
  const World world;
  Program program({"run", "--bundle", world.makeBundle()}, world.environment());
  program.eventsUntil(running);
  constexpr unsigned commands = 50'000;
  std::string lines;
  for (unsigned i = 0; i < commands; ++i) lines += "{\"type\":\"text\",\"text\":\"\"}\n";
  ASSERT_GT(lines.size(), 1U << 20U);

  program.send(lines + "{\"type\":\"pause\"}\n");  // returns only if all of it is taken

  const Lines events = program.eventsUntil(paused);
  EXPECT_EQ(events.size(), commands + 1U);
}

TEST(StandardInput, TakesALongLineInManyPieces) {
  const World world;
  Program program({"run", "--bundle", world.makeBundle()}, world.environment());
  program.eventsUntil(running);
  program.send(R"({"type":"pause","padding":")");
  for (int i = 0; i < 1000; ++i) program.send(std::string(4096, 'x'));
  program.send("\"}\n");
  EXPECT_EQ(program.event(), paused);
}

TEST(StandardInput, MayBreakACommandAnywhere) {
  const World world;
  Program program({"run", "--bundle", world.makeBundle()}, world.environment());
  program.eventsUntil(running);
  const std::string commands[] = {"{\"type\":\"pause\"}\n", "{\"type\":\"resume\"}\n"};
  const std::string answers[] = {paused, resumed};
  for (std::size_t i = 0; i < 2 * commands[0].size(); ++i) {
    const std::string& command = commands[i % 2];
    const std::size_t cut = std::min(i / 2 + 1, command.size());
    program.send(command.substr(0, cut));
    program.waitUntilRead();
    program.send(command.substr(cut));
    ASSERT_EQ(program.event(), answers[i % 2]) << "cut at " << cut;
  }
}

TEST(StandardInput, MayBringManyCommandsAtOnce) {
  const World world;
  Program program({"run", "--bundle", world.makeBundle()}, world.environment());
  program.eventsUntil(running);
  constexpr unsigned commands = 10'000;
  std::string lines;
  for (unsigned i = 0; i < commands; ++i) lines += "{\"type\":\"text\",\"text\":\"\"}\n";
  program.send(lines + "{\"type\":\"pause\"}\n");
  const Lines events = program.eventsUntil(paused);
  EXPECT_EQ(events.size(), commands + 1U);
}

TEST(StandardInput, MayBeAPipeThatDoesNotBlock) {
  const World world;
  Program program({"run", "--bundle", world.makeBundle()}, world.environment(),
                  [] { fcntl(STDIN_FILENO, F_SETFL, fcntl(STDIN_FILENO, F_GETFL) | O_NONBLOCK); });
  program.eventsUntil(running);
  program.send("{\"type\":\"pa");
  program.waitUntilRead();
  program.send("use\"}\n");
  EXPECT_EQ(program.event(), paused);
  program.closeInput();
  EXPECT_THAT(program.remainingEvents().back(), testing::HasSubstr("\"state\":\"stopped\""));
}

/// What is opened as standard input; the run ends in order when it ends.
class StandardInputFrom : public testing::TestWithParam<const char*> {
 protected:
  /// Opens the file, or a FIFO whose writers are gone after one command.
  std::string prepare(const World& world) {
    const std::string kind = GetParam();
    if (kind == "ADevice") return "/dev/null";
    const std::string path = world.path("input");
    if (kind == "AFile") world.write("input", "{\"type\":\"pause\"}\n{\"type\":\"resume\"}\n{\"ty");
    if (kind == "AFifo") {
      EXPECT_EQ(mkfifo(path.c_str(), 0600), 0);
    }
    return path;
  }
};

TEST_P(StandardInputFrom, EndsTheRunWhenItEnds) {
  const World world;
  const std::string bundle = world.makeBundle();
  const std::string path = prepare(world);
  // A FIFO that has a writer, so that opening it does not wait.
  posix::Descriptor writer(open(path.c_str(), O_RDWR | O_CLOEXEC));
  Program program({"run", "--bundle", bundle}, world.environment(),
                  [&path] { dup2(open(path.c_str(), O_RDONLY), STDIN_FILENO); });
  program.eventsUntil(starting);
  writer.close();
  const Lines events = program.remainingEvents();
  EXPECT_THAT(events.back(), testing::HasSubstr("\"state\":\"stopped\",\"crashed\":false"));
  EXPECT_EQ(program.wait(), exitedWith(0));
}

INSTANTIATE_TEST_SUITE_P(Kinds, StandardInputFrom, testing::Values("AFile", "AFifo", "ADevice"),
                         [](const auto& tested) { return std::string(tested.param); });

TEST(StandardInput, MayHaveEndedBeforeTheProgramStarts) {
  const World world;
  Program program({"run", "--bundle", world.makeBundle()}, world.environment(),
                  [] { close(STDIN_FILENO); });
  EXPECT_EQ(program.event(), ready);
  EXPECT_EQ(program.event(), starting);
  program.remainingEvents();
  EXPECT_EQ(program.wait(), exitedWith(0));
}

TEST(StandardOutput, MayBeAPipeThatDoesNotBlock) {
  const World world;
  Program program({"run", "--bundle", world.makeBundle()}, world.environment(), [] {
    fcntl(STDOUT_FILENO, F_SETFL, fcntl(STDOUT_FILENO, F_GETFL) | O_NONBLOCK);
  });
  program.eventsUntil(running);
  constexpr unsigned commands = 5'000;
  std::string lines;
  for (unsigned i = 0; i < commands; ++i) lines += "{\"type\":\"key\"}\n";
  program.send(lines + "{\"type\":\"pause\"}\n");
  EXPECT_EQ(program.eventsUntil(paused).size(), commands + 1U);
}

TEST(StandardOutput, IsNeverAFileOfTheBundle) {
  // With all three streams closed the first files to be opened would take their places.
  const World world;
  world.write("image", R"({"simulatedRestoreImage":1,"hardwareModel":"sim-1"})");
  Program program(
      {"create", "--ipsw", world.path("image"), "--bundle", world.path("vm"), "--disk-gb", "1"},
      world.environment(), [] {
        for (int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) close(stream);
      });
  EXPECT_EQ(program.wait(), exitedWith(0));
  EXPECT_EQ(world.read("vm/HardwareModel"), "parlen-simulated-hardware-model:sim-1");
  EXPECT_TRUE(world.read("vm/vm.json").starts_with("{\n  \"cpuCount\""));
}

TEST(StandardOutput, FailsAReportThatItCannotTake) {
  const World world;
  const std::string bundle = world.makeBundle();
  const Lines create = {"create",    "--ipsw", world.path("image"), "--bundle", world.path("new"),
                        "--disk-gb", "1"};
  for (const Lines& words : {Lines{"status", "--bundle", bundle}, create,
                             Lines{"clone", "--from", bundle, "--to", world.path("copy")},
                             Lines{"window-size-check", "--visible", "0,0,1440,875"}}) {
    Program program(words, world.environment(),
                    [] { dup2(open("/dev/null", O_RDONLY), STDOUT_FILENO); });
    EXPECT_EQ(program.wait(), exitedWith(1)) << words[0];
    EXPECT_EQ(program.warnings(),
              "parlen-mac-vm: the report could not be written to standard output\n");
  }
}

TEST(StandardOutput, ThatTakesNothingLeavesARunItsStatus) {
  const World world;
  Program program({"run", "--bundle", world.makeBundle()}, world.environment(),
                  [] { dup2(open("/dev/null", O_RDONLY), STDOUT_FILENO); });
  program.send("{\"type\":\"stop\"}\n");
  EXPECT_EQ(program.wait(), exitedWith(0));
}

TEST(StandardError, HasTheWarningsAndNothingElse) {
  const World world;
  Program program({"run", "--bundle", world.makeBundle()}, world.environment());
  program.eventsUntil(running);
  program.send("nonsense\n{\"type\":\"fly\"}\n");
  program.closeInput();
  program.remainingEvents();
  EXPECT_EQ(program.warnings(),
            "parlen-mac-vm: ignoring a malformed command line\n"
            "parlen-mac-vm: ignoring an unknown command 'fly'\n");
}

constexpr int manyLines = 2'000;  // their warnings do not fit into a pipe

std::string malformedLines() {
  std::string lines;
  for (int i = 0; i < manyLines; ++i) lines += "nonsense\n";
  return lines;
}

TEST(StandardError, IsNotWaitedForWhenNobodyReadsIt) {
  const World world;
  const Pipe error = makePipe();
  Program program({"run", "--bundle", world.makeBundle()}, world.environment(),
                  [&] { dup2(error.writing.get(), STDERR_FILENO); });
  program.eventsUntil(running);

  program.send(malformedLines() + "{\"type\":\"stop\"}\n");

  EXPECT_THAT(program.remainingEvents(),
              testing::ElementsAre(testing::HasSubstr("after host stop request")));
  EXPECT_EQ(program.wait(), exitedWith(0));
}

TEST(StandardError, SaysHowManyWarningsWereDropped) {
  const World world;
  Pipe error = makePipe();
  Program program({"run", "--bundle", world.makeBundle()}, world.environment(),
                  [&] { dup2(error.writing.get(), STDERR_FILENO); });
  program.eventsUntil(running);
  program.send(malformedLines() + "{\"type\":\"pause\"}\n");
  program.eventsUntil(paused);
  error.writing.close();
  constexpr std::string_view warning = "parlen-mac-vm: ignoring a malformed command line\n";

  // The pipe is full: this much is in it, and makes room for what follows.
  std::string early(16 * 4096, '\0');
  early.resize(static_cast<std::size_t>(read(error.reading.get(), early.data(), early.size())));
  program.send("{\"type\":\"fly\"}\n");
  program.closeInput();
  program.remainingEvents();
  const std::string all = early + readAll(error.reading.get());

  std::string expected;
  int written = 0;
  for (; all.compare(expected.size(), warning.size(), warning) == 0; ++written) expected += warning;
  EXPECT_LT(written, manyLines);
  EXPECT_EQ(all.substr(expected.size()), "parlen-mac-vm: " + std::to_string(manyLines - written) +
                                             " warnings were dropped because nobody read them\n"
                                             "parlen-mac-vm: ignoring an unknown command 'fly'\n");
}

}  // namespace
}  // namespace parlen::test
