#include "platform/linux/process.h"

#include <gmock/gmock.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/linux/event_loop.h"
#include "support/posix_fixtures.h"
#include "support/sanitizers.h"

namespace parlen::test {
namespace {

using linux::EventLoop;
using linux::Process;
using platform::TerminationSignal;
using testing::ElementsAre;

// ---- Child processes ----

TEST(Process, WaitsForAProgramAndReturnsItsStatus) {
  EventLoop loop;
  Process process(loop);

  EXPECT_EQ(4, process.runAndWait("/bin/sh", {"-c", "exit 4"}));
  EXPECT_EQ(128 + SIGTERM, process.runAndWait("/bin/sh", {"-c", "kill -TERM $$"}));
}

TEST(Process, FailsToRunWhatIsNotThere) {
  EventLoop loop;

  const auto status = Process(loop).runAndWait("/no/such/program", {"x"});

  ASSERT_FALSE(status);
  EXPECT_EQ(ENOENT, status.error().code);
}

TEST(Process, GivesAProgramItsOwnStandardStreams) {
  posix::Pipe input = makePipe();
  send(input.writing.get(), "in\n");
  posix::Pipe pipe = makePipe();
  const int status = inChild([&] {
    dup2(input.reading.get(), 0);
    dup2(pipe.writing.get(), 1);
    dup2(pipe.writing.get(), 2);
    EventLoop loop;
    return Process(loop)
        .runAndWait("/bin/sh", {"-c", "head -n 1; echo out; echo error >&2"})
        .value();
  });
  pipe.writing.close();

  EXPECT_EQ(0, status);
  EXPECT_EQ("in\nout\nerror\n", readAll(pipe.reading.get()));
}

TEST(Process, GivesAProgramTheDefaultActionOfAWatchedSignal) {
  EventLoop loop;
  Process process(loop);
  const auto source = process.watchSignal(platform::TerminationSignal::terminate, [] { FAIL(); });

  EXPECT_EQ(128 + SIGTERM, process.runAndWait("/bin/sh", {"-c", "kill -TERM $$; exit 1"}));
}

// ---- Signals ----

std::unique_ptr<platform::SignalSource> watchSignal(EventLoop& loop, TerminationSignal signal,
                                                    platform::Work handler) {
  return Process(loop).watchSignal(signal, std::move(handler)).value();
}

TEST(SignalSource, LeavesTheDefaultActionWithoutAFreeDescriptor) {
  if (needsDescriptors) GTEST_SKIP() << "a sanitizer needs descriptors";
  const int status = inChild([] {
    EventLoop loop;
    const rlimit none{0, 0};
    setrlimit(RLIMIT_NOFILE, &none);
    signal(SIGTERM, SIG_DFL);
    const auto source = Process(loop).watchSignal(TerminationSignal::terminate, [] {});
    if (source || source.error().code != EMFILE) return 1;
    raise(SIGTERM);
    return 2;
  });
  EXPECT_TRUE(WIFSIGNALED(status));
}

TEST(SignalSource, RunsItsHandlerOnTheLoop) {
  EventLoop loop;
  std::vector<std::string> heard;
  const auto terminate = watchSignal(loop, TerminationSignal::terminate, [&] {
    heard.push_back("terminate");
    raise(SIGINT);
    heard.push_back("raised");
  });
  const auto interrupt = watchSignal(loop, TerminationSignal::interrupt, [&] {
    heard.push_back("interrupt");
    leaveLoop();
  });

  raise(SIGTERM);
  EXPECT_TRUE(heard.empty());
  serve(loop);

  EXPECT_THAT(heard, ElementsAre("terminate", "raised", "interrupt"));
}

TEST(SignalSource, ReceivesASignalOfEachIteration) {
  EventLoop loop;
  int heard = 0;
  const auto source = watchSignal(loop, TerminationSignal::interrupt, [&] {
    if (++heard == 3) leaveLoop();
    raise(SIGINT);
  });

  raise(SIGINT);
  serve(loop);

  EXPECT_EQ(3, heard);
}

TEST(SignalSource, LeavesTheSignalWithoutEffectWhenItIsGone) {
  EventLoop loop;
  auto source = watchSignal(loop, TerminationSignal::terminate, [] { FAIL(); });
  raise(SIGTERM);
  source.reset();

  raise(SIGTERM);
  loop.post([&] { loop.post(&leaveLoop); });
  serve(loop);
}

TEST(SignalSource, TakesOverFromTheOneBefore) {
  EventLoop loop;
  auto older = watchSignal(loop, TerminationSignal::terminate, [] { FAIL(); });
  const auto newer = watchSignal(loop, TerminationSignal::terminate, &leaveLoop);
  older.reset();

  raise(SIGTERM);
  serve(loop);
}

TEST(SignalSource, ReceivesASignalThatWasBlockedAndIgnored) {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  signal(SIGINT, SIG_IGN);
  EventLoop loop;
  const auto source = watchSignal(loop, TerminationSignal::interrupt, &leaveLoop);

  raise(SIGINT);
  serve(loop);
}

}  // namespace
}  // namespace parlen::test
