#include <gmock/gmock.h>
#include <signal.h>

#include <array>
#include <string>

#include "contract/contract.h"

namespace parlen::test {
namespace {

using ProcessContract = Contract;
INSTANTIATE_TEST_SUITE_P(Hosts, ProcessContract, testing::ValuesIn(allHosts()), nameOf);

/// Has this process ignore a signal for as long as it lives.
class IgnoredSignal {
 public:
  explicit IgnoredSignal(int signal) : signal_(signal) {
    struct sigaction action{};
    action.sa_handler = SIG_IGN;
    sigaction(signal_, &action, &before_);
  }
  ~IgnoredSignal() { sigaction(signal_, &before_, nullptr); }
  IgnoredSignal(const IgnoredSignal&) = delete;
  IgnoredSignal& operator=(const IgnoredSignal&) = delete;

 private:
  int signal_;
  struct sigaction before_{};
};

/// Blocks a signal on this thread for as long as it lives.
class BlockedSignal {
 public:
  explicit BlockedSignal(int signal) {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, signal);
    pthread_sigmask(SIG_BLOCK, &signals, &before_);
  }
  ~BlockedSignal() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  BlockedSignal(const BlockedSignal&) = delete;
  BlockedSignal& operator=(const BlockedSignal&) = delete;

 private:
  sigset_t before_{};
};

/// What shells and parents leave blocked or ignored: nohup, a pipe's reader, a supervisor.
constexpr std::array endingSignals = {SIGHUP, SIGINT, SIGPIPE, SIGTERM, SIGUSR1};

std::string killItself(int signal) {
  return "kill -" + std::to_string(signal) + " $$; echo survived >&2";
}

TEST_P(ProcessContract, ReportsHowAChildHasEnded) {
  platform::Process& process = underTest().system().process();

  EXPECT_EQ(process.runAndWait("/bin/sh", {"-c", "exit 7"}), 7);
  EXPECT_EQ(process.runAndWait("/bin/sh", {"-c", "kill -KILL $$"}), 128 + SIGKILL);
  const auto missing = process.runAndWait(path("missing"), {});
  ASSERT_FALSE(missing);
  EXPECT_THAT(missing.error().description, NamesFile(path("missing")));
}

// The system would discard the child's exit status.
TEST_P(ProcessContract, ReportsItWhereTheEndsOfChildrenAreIgnored) {
  const IgnoredSignal ignored(SIGCHLD);

  EXPECT_EQ(underTest().system().process().runAndWait("/bin/sh", {"-c", "exit 7"}), 7);
}

TEST_P(ProcessContract, GivesChildrenTheDefaultActionOfAWatchedSignal) {
  platform::Process& process = underTest().system().process();
  for (const auto signal :
       {platform::TerminationSignal::terminate, platform::TerminationSignal::interrupt}) {
    ASSERT_TRUE(process.watchSignal(signal, [] {}));
  }

  EXPECT_EQ(process.runAndWait("/bin/sh", {"-c", "kill -TERM $$"}), 128 + SIGTERM);
  EXPECT_EQ(process.runAndWait("/bin/sh", {"-c", "kill -INT $$"}), 128 + SIGINT);
}

TEST_P(ProcessContract, GivesChildrenTheDefaultActionOfAnIgnoredSignal) {
  for (const int signal : endingSignals) {
    const IgnoredSignal ignored(signal);

    EXPECT_EQ(underTest().system().process().runAndWait("/bin/sh", {"-c", killItself(signal)}),
              128 + signal);
  }
}

TEST_P(ProcessContract, StartsChildrenWithNoSignalBlocked) {
  for (const int signal : endingSignals) {
    const BlockedSignal blocked(signal);

    EXPECT_EQ(underTest().system().process().runAndWait("/bin/sh", {"-c", killItself(signal)}),
              128 + signal);
  }
}

}  // namespace
}  // namespace parlen::test
