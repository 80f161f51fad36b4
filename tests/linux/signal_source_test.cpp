#include "platform/linux/signal_source.h"

#include <gmock/gmock.h>
#include <signal.h>

#include <string>
#include <vector>

#include "platform/linux/poll_loop.h"
#include "support/posix_fixtures.h"

namespace parlen::test {
namespace {

using linux::PollLoop;
using linux::watchSignal;
using platform::TerminationSignal;
using testing::ElementsAre;

TEST(SignalSource, RunsItsHandlerOnTheLoop) {
  PollLoop loop;
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

TEST(SignalSource, HearsEveryDeliveryThatFollowsATurn) {
  PollLoop loop;
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
  PollLoop loop;
  auto source = watchSignal(loop, TerminationSignal::terminate, [] { FAIL(); });
  raise(SIGTERM);
  source.reset();

  raise(SIGTERM);
  loop.post([&] { loop.post(&leaveLoop); });
  serve(loop);
}

TEST(SignalSource, TakesOverFromTheOneBefore) {
  PollLoop loop;
  auto older = watchSignal(loop, TerminationSignal::terminate, [] { FAIL(); });
  const auto newer = watchSignal(loop, TerminationSignal::terminate, &leaveLoop);
  older.reset();

  raise(SIGTERM);
  serve(loop);
}

TEST(SignalSource, HearsASignalThatTheParentHadBlockedAndIgnored) {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  signal(SIGINT, SIG_IGN);
  PollLoop loop;
  const auto source = watchSignal(loop, TerminationSignal::interrupt, &leaveLoop);

  raise(SIGINT);
  serve(loop);
}

}  // namespace
}  // namespace parlen::test
