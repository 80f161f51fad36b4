#include "platform/posix/process.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "support/posix_fixtures.h"

namespace parlen::test {
namespace {

/// What differs between systems is not used here.
class OnlyEnds final : public posix::Process {
 public:
  std::unique_ptr<platform::SignalSource> watchSignal(platform::TerminationSignal,
                                                      platform::Work) override {
    throw std::logic_error("watchSignal");
  }
  platform::Result<int> runAndWait(const std::string&, const std::vector<std::string>&) override {
    throw std::logic_error("runAndWait");
  }
};

TEST(Process, ExitsWithTheStatus) {
  const int status = inChild([] {
    OnlyEnds().exit(9);
    return 0;
  });

  EXPECT_EQ(9, WEXITSTATUS(status));
}

TEST(Process, TrapsByAborting) {
  const int status = inChild([] {
    OnlyEnds().trap();
    return 0;
  });

  EXPECT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(SIGABRT, WTERMSIG(status));
}

TEST(Process, ResetsIgnoredAndBlockedSignals) {
  const int status = inChild([] {
    signal(SIGHUP, SIG_IGN);
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGHUP);
    sigprocmask(SIG_BLOCK, &blocked, nullptr);
    posix::resetSignals();
    raise(SIGHUP);
    return 0;
  });

  EXPECT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(SIGHUP, WTERMSIG(status));
}

}  // namespace
}  // namespace parlen::test
