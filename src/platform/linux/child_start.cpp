#include "platform/linux/child_start.h"

#include <fcntl.h>
#include <linux/close_range.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "platform/linux/descriptor.h"
#include "platform/linux/error.h"
#include "platform/linux/find_program.h"
#include "platform/posix/process.h"

namespace parlen::linux {
namespace {

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

// ---- in the child; each returns 0 or an errno value ----

// First everything is moved out of the way, so that a target may be the number of another source.
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

// ---- in the parent ----

// A parent that ignores SIGCHLD hands that on, and then the system would forget how children end.
void keepExitStatuses() {
  struct sigaction action{};
  sigaction(SIGCHLD, nullptr, &action);
  if (action.sa_handler != SIG_IGN && (action.sa_flags & SA_NOCLDWAIT) == 0) return;
  action = {};
  action.sa_handler = SIG_DFL;
  sigaction(SIGCHLD, &action, nullptr);
}

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

}  // namespace

platform::Result<pid_t> startChild(const ChildOptions& options) {
  const std::string attempt = "start " + options.program;
  auto path = findProgram(options.program);
  if (!path) return failure(attempt, path.error());
  ChildPlan plan = makePlan(options, std::move(*path));
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return failure(attempt, errno);
  Descriptor reading(ends[0]);
  Descriptor writing(ends[1]);
  keepExitStatuses();
  sigset_t before;
  const pid_t child = forkWithSignalsBlocked(before);
  if (child == 0) runChild(options, plan, writing.get());
  const int forkError = errno;
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  if (child < 0) return failure(attempt, forkError);
  writing.close();
  if (const int code = readReport(reading.get())) {
    reapChild(child);
    return failure(attempt, code);
  }
  return child;
}

ChildExit reapChild(pid_t child) {
  int status = 0;
  while (waitpid(child, &status, 0) < 0) {
    // Somebody else has reaped it: all that is known is that it has ended.
    if (errno != EINTR) return {.status = std::nullopt, .signal = SIGKILL};
  }
  if (WIFEXITED(status)) return {.status = WEXITSTATUS(status)};
  return {.status = std::nullopt, .signal = WTERMSIG(status)};
}

}  // namespace parlen::linux
