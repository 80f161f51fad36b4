#include "platform/posix/process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "platform/posix/descriptor.h"
#include "support/posix_fixtures.h"
#include "support/temporary_directory.h"

namespace parlen::test {
namespace {

/// What differs between systems is not used here.
class OnlyEnds final : public posix::Process {
 public:
  platform::Result<std::unique_ptr<platform::SignalSource>> watchSignal(platform::TerminationSignal,
                                                                        platform::Work) override {
    throw std::logic_error("watchSignal");
  }
  platform::Result<int> runAndWait(const std::string&, const std::vector<std::string>&) override {
    throw std::logic_error("runAndWait");
  }
};

TEST(Process, GetsAnErrorForAFileThatIsTooLong) {
  const TemporaryDirectory directory;
  const int status = inChild([&] {
    OnlyEnds().failTooLongWrites();
    const rlimit limit{4, 4};
    setrlimit(RLIMIT_FSIZE, &limit);
    const posix::Descriptor file(open((directory / "file").c_str(), O_WRONLY | O_CREAT, 0600));
    std::string_view bytes = "123456";
    return posix::writeAll(file.get(), bytes) == EFBIG && bytes == "56" ? 0 : 1;
  });

  EXPECT_EQ(0, status);
}

TEST(Process, LeavesAProgramTheActionForAFileThatIsTooLong) {
  const pid_t child = fork();
  if (child == 0) {
    OnlyEnds().failTooLongWrites();
    execl("/bin/sh", "sh", "-c", "kill -XFSZ $$", nullptr);
    _exit(1);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFSIGNALED(status));
}

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
