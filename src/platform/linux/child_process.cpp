#include "platform/linux/child_process.h"

#include <fcntl.h>
#include <linux/close_range.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "platform/linux/error.h"
#include "platform/linux/find_program.h"
#include "platform/posix/descriptor.h"
#include "platform/posix/process.h"

namespace parlen::linux {
namespace {

using posix::Descriptor;

// Everything that the child needs, made before the fork: after it, only async-signal-safe calls are
// left, because another thread may have held any lock at that moment.
struct ChildPlan {
  std::string path;
  std::vector<char*> arguments;
  std::vector<int> moved;  // room for one descriptor of each pair
  std::vector<int> kept;   // the descriptors that survive exec, sorted
  int floor = 3;           // above every descriptor that the child is to have
  int parent = getpid();
};

ChildPlan makePlan(const ChildOptions& options, std::string path) {
  ChildPlan plan;
  plan.path = std::move(path);
  // exec takes pointers to what it does not change.
  plan.arguments.push_back(const_cast<char*>(options.program.c_str()));
  for (const std::string& argument : options.arguments) {
    plan.arguments.push_back(const_cast<char*>(argument.c_str()));
  }
  plan.arguments.push_back(nullptr);
  plan.moved.resize(options.descriptors.size());
  plan.kept = {0, 1, 2};
  for (const auto& [target, source] : options.descriptors) plan.kept.push_back(target);
  std::ranges::sort(plan.kept);
  plan.floor = plan.kept.back() + 1;
  return plan;
}

// ---- In the child: each returns 0 or an errno value ----

// Moves every source out of the way first, so that a target may be the number of another source.
int moveAway(const ChildOptions& options, ChildPlan& plan, int& report) {
  const int moved = fcntl(report, F_DUPFD_CLOEXEC, plan.floor);
  if (moved < 0) return errno;
  report = moved;
  for (std::size_t i = 0; i < options.descriptors.size(); ++i) {
    plan.moved[i] = fcntl(options.descriptors[i].second, F_DUPFD_CLOEXEC, plan.floor);
    if (plan.moved[i] < 0) return errno;
  }
  return 0;
}

int openNull(int target) {
  const int null = open("/dev/null", O_RDWR);
  if (null < 0 || null == target) return null < 0 ? errno : 0;
  return dup2(null, target) < 0 ? errno : 0;
}

int placeDescriptors(const ChildOptions& options, const ChildPlan& plan) {
  unsigned placed = 0;
  for (std::size_t i = 0; i < options.descriptors.size(); ++i) {
    const int target = options.descriptors[i].first;
    if (dup2(plan.moved[i], target) < 0) return errno;
    if (target <= 2) placed |= 1U << target;
  }
  for (int target = 0; target <= 2; ++target) {
    if ((placed & (1U << target)) != 0) continue;
    if (const int code = openNull(target)) return code;
  }
  return 0;
}

int closeRestAtExec(const ChildPlan& plan) {
  unsigned first = 0;
  for (const int kept : plan.kept) {
    const unsigned number = static_cast<unsigned>(kept);
    if (number > first && close_range(first, number - 1, CLOSE_RANGE_CLOEXEC) != 0) return errno;
    first = number + 1;
  }
  return close_range(first, ~0U, CLOSE_RANGE_CLOEXEC) != 0 ? errno : 0;
}

int becomeProgram(const ChildOptions& options, ChildPlan& plan, int& report) {
  if (options.newSession) setsid();
  if (const int code = moveAway(options, plan, report)) return code;
  if (const int code = placeDescriptors(options, plan)) return code;
  if (const int code = closeRestAtExec(plan)) return code;
  posix::resetSignals();
  if (options.beforeExec != nullptr) options.beforeExec(plan.parent);
  execve(plan.path.c_str(), plan.arguments.data(), environ);
  return errno;
}

[[noreturn]] void runChild(const ChildOptions& options, ChildPlan& plan, int report) {
  const int code = becomeProgram(options, plan, report);
  [[maybe_unused]] const ssize_t written = write(report, &code, sizeof code);
  _exit(127);
}

// ---- In the parent ----

// No handler of this process may run in the child before its dispositions are reset.
pid_t forkWithSignalsBlocked(sigset_t& before) {
  sigset_t all;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  return fork();
}

// The pipe closes by itself when exec succeeds.
int readReport(int report) {
  int code = 0;
  ssize_t count = 0;
  do {
    count = read(report, &code, sizeof code);
  } while (count < 0 && errno == EINTR);
  return count == static_cast<ssize_t>(sizeof code) ? code : 0;
}

// Waits for the child's end.
ChildExit reapChild(pid_t child) {
  int status = 0;
  while (waitpid(child, &status, 0) < 0) {
    // Something else has reaped it: all that is known is that it has ended.
    if (errno != EINTR) return {.status = std::nullopt, .signal = SIGKILL};
  }
  if (WIFEXITED(status)) return {.status = WEXITSTATUS(status)};
  return {.status = std::nullopt, .signal = WTERMSIG(status)};
}

// Forks and executes. The caller reaps the child. After an error there is no child.
platform::Result<pid_t> startChild(const ChildOptions& options) {
  const std::string attempt = "start " + options.program;
  auto path = findProgram(options.program);
  if (!path) return error(attempt, path.error());
  ChildPlan plan = makePlan(options, std::move(*path));
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return error(attempt, errno);
  Descriptor reading(ends[0]);
  Descriptor writing(ends[1]);
  posix::keepExitStatuses();
  sigset_t before;
  const pid_t child = forkWithSignalsBlocked(before);
  if (child == 0) runChild(options, plan, writing.get());
  const int forkError = errno;
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  if (child < 0) return error(attempt, forkError);
  writing.close();
  if (const int code = readReport(reading.get())) {
    reapChild(child);
    return error(attempt, code);
  }
  return child;
}

// ---- Beside the loop ----

// The header of glibc 2.36 declares pidfd_open without C linkage.
Descriptor openProcess(pid_t process) {
  return Descriptor(static_cast<int>(syscall(SYS_pidfd_open, process, 0)));
}

// False also if there is no handle.
bool endsWithin(std::chrono::milliseconds limit, const Descriptor& handle) {
  pollfd end{.fd = handle.get(), .events = POLLIN, .revents = 0};
  return handle && poll(&end, 1, static_cast<int>(limit.count())) > 0;
}

bool exitsWellWithin(std::chrono::milliseconds limit, pid_t child) {
  const Descriptor handle = openProcess(child);
  if (!endsWithin(limit, handle)) {
    kill(child, SIGKILL);
    // One that hangs in the kernel does not end by that either, and is left alone.
    endsWithin(std::chrono::seconds(1), handle);
  }
  int status = 0;
  return waitpid(child, &status, WNOHANG) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// All descriptors are closed, so that nobody waits for a child that hangs.
[[noreturn]] void runTest(bool (*test)(), int parent) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent || close_range(0, ~0U, 0) != 0) _exit(1);
  _exit(test() ? 0 : 1);
}

class WatchedChild final : public ChildProcess {
 public:
  WatchedChild(pid_t child, Descriptor handle, std::function<void(ChildExit)> onExit)
      : child_(child), handle_(std::move(handle)), onExit_(std::move(onExit)) {}

  ~WatchedChild() override {
    if (reaped_) return;
    ::kill(child_, SIGKILL);
    reapChild(child_);
  }

  int pid() const override { return child_; }

  void kill(int signal) override {
    if (!reaped_) ::kill(child_, signal);
  }

  // The handle becomes readable when the child has ended.
  void watchWith(EventLoop& loop) {
    watch_ = loop.watch(handle_.get(), Readiness::readable, [this] { finish(); });
  }

 private:
  void finish() {
    watch_.reset();
    const ChildExit exit = reapChild(child_);
    reaped_ = true;
    handle_.close();
    // The callback may destroy this object.
    const auto onExit = std::move(onExit_);
    onExit(exit);
  }

  pid_t child_;
  Descriptor handle_;
  std::function<void(ChildExit)> onExit_;
  bool reaped_ = false;
  std::unique_ptr<DescriptorWatch> watch_;
};

}  // namespace

platform::Result<std::unique_ptr<ChildProcess>> spawnChild(EventLoop& loop,
                                                           const ChildOptions& options,
                                                           std::function<void(ChildExit)> onExit) {
  const platform::Result<pid_t> child = startChild(options);
  if (!child) return std::unexpected(child.error());
  Descriptor handle = openProcess(*child);  // closed on exec by itself
  const int code = errno;
  const bool watchable = static_cast<bool>(handle);
  auto process = std::make_unique<WatchedChild>(*child, std::move(handle), std::move(onExit));
  if (!watchable) return error("watch " + options.program, code);
  process->watchWith(loop);
  return process;
}

platform::Result<ChildExit> runChildToEnd(const ChildOptions& options) {
  const platform::Result<pid_t> child = startChild(options);
  if (!child) return std::unexpected(child.error());
  return reapChild(*child);
}

bool holdsInChild(bool (*test)(), std::chrono::milliseconds limit) {
  posix::keepExitStatuses();
  const int parent = getpid();
  sigset_t before;
  const pid_t child = forkWithSignalsBlocked(before);  // in the child they stay so
  if (child == 0) runTest(test, parent);
  const bool holds = child > 0 && exitsWellWithin(limit, child);
  pthread_sigmask(SIG_SETMASK, &before, nullptr);  // only now, because a signal would end the wait
  return holds;
}

}  // namespace parlen::linux
