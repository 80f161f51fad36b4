#include "platform/qemu/subprocess.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/linux/event_loop.h"
#include "platform/posix/descriptor.h"
#include "support/posix_fixtures.h"
#include "support/run_until.h"

namespace parlen::qemu {
namespace {

std::string lastOf(std::string_view output) {
  LastMessage message("qemu");
  message.add(output);
  return message.text();
}

TEST(LastMessage, IsTheLastLineWithoutTheProgramsName) {
  EXPECT_EQ(lastOf("qemu: first\nqemu: second\n"), "second");
  EXPECT_EQ(lastOf("first\nsecond\n"), "second");
}

TEST(LastMessage, IsEmptyForAProgramThatSaidNothing) {
  EXPECT_EQ(lastOf(""), "");
  EXPECT_EQ(lastOf("\n\r\n"), "");
}

TEST(LastMessage, CountsALineWithoutItsEnd) {
  EXPECT_EQ(lastOf("qemu: first\nqemu: sec"), "sec");
  EXPECT_EQ(lastOf("qemu: first\n\n"), "first");
}

TEST(LastMessage, KeepsAnErrorWithTheHintBehindIt) {
  EXPECT_EQ(lastOf("qemu: old\nqemu: Failed to get lock\nIs another process using it?\n"),
            "Failed to get lock Is another process using it?");
}

TEST(LastMessage, TakesNoWarningForAnError) {
  EXPECT_EQ(lastOf("qemu: warning: slow\nassertion failed\n"), "assertion failed");
}

TEST(LastMessage, IsTheSameHoweverTheBytesArrive) {
  const std::string output = "qemu: one\r\nqemu: two\nhint\n";
  for (std::size_t cut = 0; cut <= output.size(); ++cut) {
    LastMessage message("qemu");
    message.add(output.substr(0, cut));
    message.add(output.substr(cut));
    EXPECT_EQ(message.text(), "two hint") << "cut at " << cut;
  }
}

TEST(LastMessage, CutsAnEndlessLine) { EXPECT_EQ(lastOf(std::string(100'000, 'x')).size(), 4096U); }

class SubprocessTest : public testing::Test {
 protected:
  void start(const std::string& script, Subprocess::OutputHandler onOutput) {
    auto started = Subprocess::start(loop_,
                                     {.program = "/bin/sh",
                                      .arguments = {"-c", script},
                                      .onOutput = std::move(onOutput),
                                      .descriptors = descriptors_},
                                     [this](const SubprocessExit& exit) {
                                       exit_ = exit;
                                       outputAtExit_ = output_;
                                       process_.reset();
                                     });
    ASSERT_TRUE(started) << started.error().description;
    process_ = *std::move(started);
    ASSERT_TRUE(test::runUntil(loop_, [this] { return exit_.has_value(); }));
  }
  Subprocess::OutputHandler keepOutput() {
    return [this](std::string_view bytes) { output_.append(bytes); };
  }

  linux::EventLoop loop_;
  std::unique_ptr<Subprocess> process_;
  std::string output_;
  std::string outputAtExit_;
  std::vector<std::pair<int, int>> descriptors_;
  std::optional<SubprocessExit> exit_;
};

TEST_F(SubprocessTest, HandlesAllOutputBeforeItsExit) {
  start("head -c 300000 /dev/zero; echo end; echo 'sh: reason' >&2; exit 3", keepOutput());

  EXPECT_EQ(outputAtExit_.size(), 300004U);
  EXPECT_TRUE(outputAtExit_.ends_with("end\n"));
  EXPECT_EQ(exit_->exit.status, 3);
  EXPECT_FALSE(exit_->succeeded());
  EXPECT_EQ(exit_->reason(), "reason");
}

TEST_F(SubprocessTest, TakesUnhandledOutputForMessages) {
  start("echo first >&2; echo second", nullptr);

  EXPECT_TRUE(exit_->succeeded());
  EXPECT_EQ(exit_->lastMessage, "second");
}

TEST_F(SubprocessTest, DoesNotReadTheToolsInput) {
  const posix::Pipe input = test::makePipe();
  const posix::Descriptor before(::dup(STDIN_FILENO));
  ::dup2(input.reading.get(), STDIN_FILENO);
  start("readlink /proc/self/fd/0", keepOutput());
  ::dup2(before.get(), STDIN_FILENO);

  EXPECT_EQ(output_, "/dev/null\n");
}

TEST_F(SubprocessTest, SaysHowItEndedIfItSaidNothing) {
  start("exit 4", keepOutput());

  EXPECT_EQ(exit_->reason(), "it has ended with status 4");
}

TEST_F(SubprocessTest, LetsOtherWorkRunBetweenPiecesOfOutput) {
  constexpr std::size_t pipeSize = 65536;
  std::size_t length = 0;
  std::optional<std::size_t> lengthAtWork;  // when work that was posted at the first piece ran
  // One write fills the pipe before anything is read, and the end comes later.
  start("dd if=/dev/zero bs=65536 count=1 2>/dev/null; exec sleep 600",
        [&](std::string_view bytes) {
          if (length == 0) loop_.post([&] { lengthAtWork = length; });
          length += bytes.size();
          if (length == pipeSize) process_->kill();
        });

  EXPECT_EQ(length, pipeSize);
  EXPECT_LT(lengthAtWork.value_or(pipeSize), pipeSize);
}

TEST_F(SubprocessTest, DoesNotWaitForAGrandchildThatKeepsWriting) {
  posix::Pipe ask = test::makePipe();
  const posix::Pipe answer = test::makePipe();
  descriptors_ = {{3, ask.reading.get()}, {4, answer.writing.get()}};
  constexpr int tooMany = 2000;
  int pieces = 0;

  // Before each piece has been handled, there is another one.
  start("while read -r line; do echo piece; echo >&4; done <&3 & echo piece",
        [&](std::string_view) {
          if (++pieces == tooMany) ask.writing.close();
          if (pieces >= tooMany) return;
          test::send(ask.writing.get(), "\n");
          char byte = 0;
          EXPECT_EQ(::read(answer.reading.get(), &byte, 1), 1);
        });

  EXPECT_LT(pieces, tooMany);
}

TEST_F(SubprocessTest, DoesNotWaitForAGrandchildThatKeepsItsOutput) {
  start("sleep 60 & echo $!", keepOutput());

  EXPECT_TRUE(exit_->succeeded());
  EXPECT_EQ(::kill(std::stoi(output_), SIGKILL), 0);
}

}  // namespace
}  // namespace parlen::qemu
