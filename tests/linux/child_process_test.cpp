#include "platform/linux/child_process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <optional>
#include <string>

#include "platform/linux/event_loop.h"
#include "support/posix_fixtures.h"
#include "support/temporary_directory.h"

namespace parlen::test {
namespace {

using linux::ChildExit;
using linux::ChildOptions;
using linux::ChildProcess;
using linux::EventLoop;
using linux::spawnChild;

ChildOptions shell(const std::string& script) {
  ChildOptions options;
  options.program = "/bin/sh";
  options.arguments = {"-c", script};
  return options;
}

ChildExit runToEnd(const ChildOptions& options) {
  EventLoop loop;
  ChildExit result;
  const auto child = spawnChild(loop, options, [&](ChildExit ended) {
    result = ended;
    leaveLoop();
  });
  if (!child) throw std::runtime_error(child.error().description);
  serve(loop);
  return result;
}

// What the script writes to its standard output.
std::string outputOf(ChildOptions options) {
  posix::Pipe pipe = makePipe();
  options.descriptors.emplace_back(1, pipe.writing.get());
  EXPECT_EQ(0, runToEnd(options).status);
  pipe.writing.close();
  return readAll(pipe.reading.get());
}

bool isAlive(int process) { return ::kill(process, 0) == 0 || errno != ESRCH; }

TEST(ChildProcess, ReportsItsExitStatus) { EXPECT_EQ(7, runToEnd(shell("exit 7")).status); }

TEST(ChildProcess, ReportsTheSignalThatEndedIt) {
  const ChildExit ended = runToEnd(shell("kill -9 $$"));

  EXPECT_EQ(std::nullopt, ended.status);
  EXPECT_EQ(SIGKILL, ended.signal);
}

TEST(ChildProcess, ReportsItsEndOnce) {
  EventLoop loop;
  int calls = 0;
  const auto child = spawnChild(loop, shell("exit 0"), [&](ChildExit) {
    ++calls;
    loop.postDelayed(std::chrono::milliseconds(5), &leaveLoop);
  });

  serve(loop);

  EXPECT_EQ(1, calls);
}

TEST(ChildProcess, PassesArgumentsUnchanged) {
  ChildOptions options;
  options.program = "printf";  // by way of PATH
  options.arguments = {"%s|", "a b", "", "$HOME", "\"x"};

  EXPECT_EQ("a b||$HOME|\"x|", outputOf(options));
}

TEST(ChildProcess, StartsAnInstalledProgramWithAnEmptyPath) {
  EXPECT_EQ(0, inChild([] {
              setenv("PATH", "", 1);
              ChildOptions options;
              options.program = "true";
              return runToEnd(options).status.value_or(128);
            }));
}

TEST(ChildProcess, FailsToStartAProgramThatDoesNotExist) {
  EventLoop loop;
  ChildOptions options;
  options.program = "/no/such/program";

  const auto child = spawnChild(loop, options, [](ChildExit) { FAIL(); });

  ASSERT_FALSE(child);
  EXPECT_EQ("NSPOSIXErrorDomain", child.error().domain);
  EXPECT_EQ(ENOENT, child.error().code);
  EXPECT_EQ("could not start /no/such/program: No such file or directory",
            child.error().description);
  EXPECT_EQ(-1, waitpid(-1, nullptr, WNOHANG));
  EXPECT_EQ(ECHILD, errno) << "a child was left behind";
}

TEST(ChildProcess, FailsToStartANameThatIsNotInThePath) {
  EventLoop loop;
  ChildOptions options;
  options.program = "parlen-no-such-program";

  const auto child = spawnChild(loop, options, [](ChildExit) { FAIL(); });

  ASSERT_FALSE(child);
  EXPECT_EQ(ENOENT, child.error().code);
}

TEST(ChildProcess, FailsToStartAFileThatMayNotBeExecuted) {
  const TemporaryDirectory directory;
  putFile(directory / "data", "no program");
  EventLoop loop;
  ChildOptions options;
  options.program = directory / "data";

  const auto child = spawnChild(loop, options, [](ChildExit) { FAIL(); });

  ASSERT_FALSE(child);
  EXPECT_EQ(EACCES, child.error().code);
}

TEST(ChildProcess, FailsToStartWithADescriptorThatIsNotOpen) {
  EventLoop loop;
  ChildOptions options = shell("exit 0");
  options.descriptors = {{5, 1000}};

  const auto child = spawnChild(loop, options, [](ChildExit) { FAIL(); });

  ASSERT_FALSE(child);
  EXPECT_EQ(EBADF, child.error().code);
}

TEST(ChildProcess, PlacesDescriptorsWhoseNumbersCross) {
  const TemporaryDirectory directory;
  putFile(directory / "a", "from a");
  putFile(directory / "b", "from b");
  const posix::Descriptor a(open((directory / "a").c_str(), O_RDONLY | O_CLOEXEC));
  const posix::Descriptor b(open((directory / "b").c_str(), O_RDONLY | O_CLOEXEC));
  const std::string aNumber = std::to_string(a.get());
  const std::string bNumber = std::to_string(b.get());
  ChildOptions options = shell("cat <&" + bNumber + "; cat <&" + aNumber + "; cat");
  options.descriptors = {{a.get(), b.get()}, {b.get(), a.get()}, {0, b.get()}};

  // Standard input shares its position with the other copy of b, which has been read to its end.
  EXPECT_EQ("from afrom b", outputOf(options));
}

TEST(ChildProcess, HasNoDescriptorThatIsNotListed) {
  const posix::Pipe pipe = makePipe();
  const int leaking = dup(pipe.writing.get());  // without close-on-exec
  ASSERT_GE(leaking, 3);
  const posix::Descriptor leak(leaking);
  ChildOptions options = shell("ls -1 /proc/self/fd | tr '\\n' ' '");
  options.descriptors = {{9, pipe.writing.get()}};

  // 3 is the directory that ls reads; sh keeps 9.
  EXPECT_EQ("0 1 2 3 9 ", outputOf(options));
}

TEST(ChildProcess, HasNullForStandardStreamsThatAreNotListed) {
  EXPECT_EQ("/dev/null\n/dev/null\n",
            outputOf(shell("readlink /proc/self/fd/0; readlink /proc/self/fd/2")));
}

TEST(ChildProcess, LeadsANewSessionWhenAsked) {
  // The sixth field is the session.
  ChildOptions options = shell("read -r _ _ _ _ _ session _ < /proc/self/stat; echo $session $$");
  const std::string shared = outputOf(options);
  options.newSession = true;
  const std::string own = outputOf(options);

  EXPECT_EQ(std::to_string(getsid(0)), shared.substr(0, shared.find(' ')));
  EXPECT_EQ(own.substr(0, own.find(' ')) + "\n", own.substr(own.find(' ') + 1));
}

TEST(ChildProcess, RunsTheHookBeforeTheProgram) {
  ChildOptions options = shell("umask");
  options.beforeExec = [](int) { umask(0123); };

  EXPECT_EQ("0123\n", outputOf(options));
}

TEST(ChildProcess, StartsWithDefaultSignalActionsAndNoneBlocked) {
  struct sigaction ignore{};
  ignore.sa_handler = SIG_IGN;
  struct sigaction before{};
  sigaction(SIGPIPE, &ignore, &before);
  sigset_t blocked;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGUSR1);
  pthread_sigmask(SIG_BLOCK, &blocked, nullptr);

  const std::string status = outputOf(shell("grep -E '^Sig(Blk|Ign)' /proc/self/status"));
  sigset_t still;
  pthread_sigmask(SIG_UNBLOCK, &blocked, &still);
  sigaction(SIGPIPE, &before, nullptr);

  EXPECT_EQ("SigBlk:\t0000000000000000\nSigIgn:\t0000000000000000\n", status);
  EXPECT_EQ(1, sigismember(&still, SIGUSR1)) << "the parent's own mask was lost";
}

TEST(ChildProcess, ReportsItsStatusThoughSigchldIsIgnored) {
  signal(SIGCHLD, SIG_IGN);

  EXPECT_EQ(5, runToEnd(shell("exit 5")).status);
}

TEST(ChildProcess, CanBeSignalledUntilItIsReaped) {
  EventLoop loop;
  std::optional<ChildExit> result;
  const auto child = spawnChild(loop, shell("exec sleep 1000"), [&](ChildExit ended) {
    result = ended;
    leaveLoop();
  });
  ASSERT_TRUE(child);

  (*child)->kill(SIGTERM);
  serve(loop);
  (*child)->kill(SIGTERM);

  ASSERT_TRUE(result);
  EXPECT_EQ(SIGTERM, result->signal);
}

TEST(ChildProcess, KillsItsChildWhenDestroyed) {
  EventLoop loop;
  auto child = spawnChild(loop, shell("exec sleep 1000"), [](ChildExit) { FAIL(); });
  ASSERT_TRUE(child);
  const int process = (*child)->pid();
  ASSERT_TRUE(isAlive(process));

  child->reset();

  EXPECT_FALSE(isAlive(process));
  loop.post([&] { loop.post(&leaveLoop); });
  serve(loop);
}

TEST(ChildProcess, MayBeDestroyedByItsOwnExit) {
  EventLoop loop;
  std::unique_ptr<ChildProcess> owner;
  auto child = spawnChild(loop, shell("exit 0"), [&](ChildExit) {
    owner.reset();
    leaveLoop();
  });
  ASSERT_TRUE(child);
  owner = std::move(*child);

  serve(loop);

  EXPECT_EQ(nullptr, owner);
}

TEST(ChildProcess, DoesNotReapOtherChildren) {
  const pid_t other = fork();
  if (other == 0) _exit(3);

  EXPECT_EQ(0, runToEnd(shell("exit 0")).status);

  int status = 0;
  EXPECT_EQ(other, waitpid(other, &status, 0));
  EXPECT_EQ(3, WEXITSTATUS(status));
}

constexpr std::chrono::minutes patient{1};

TEST(HoldsInChild, TellsWhatTheTestReturns) {
  EXPECT_TRUE(linux::holdsInChild([] { return true; }, patient));
  EXPECT_FALSE(linux::holdsInChild([] { return false; }, patient));
}

TEST(HoldsInChild, IsFalseIfTheTestCrashes) {
  EXPECT_FALSE(linux::holdsInChild([] { return ::raise(SIGKILL) == 0; }, patient));
}

TEST(HoldsInChild, IsFalseIfTheTestHangs) {
  const auto hang = [] {
    while (true) ::pause();
    return true;
  };

  EXPECT_FALSE(linux::holdsInChild(hang, std::chrono::milliseconds(1)));

  EXPECT_EQ(-1, ::waitpid(-1, nullptr, WNOHANG)) << "a child is left";
}

TEST(HoldsInChild, LeavesSignalsAsTheyWere) {
  sigset_t before;
  sigset_t after;
  ::pthread_sigmask(SIG_SETMASK, nullptr, &before);

  EXPECT_TRUE(linux::holdsInChild([] { return true; }, patient));

  ::pthread_sigmask(SIG_SETMASK, nullptr, &after);
  EXPECT_EQ(::sigismember(&after, SIGTERM), ::sigismember(&before, SIGTERM));
}

TEST(HoldsInChild, KnowsTheResultIfExitStatusesWereDiscarded) {
  ::signal(SIGCHLD, SIG_IGN);

  EXPECT_TRUE(linux::holdsInChild([] { return true; }, patient));

  ::signal(SIGCHLD, SIG_DFL);
}

}  // namespace
}  // namespace parlen::test
