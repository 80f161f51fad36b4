#include "platform/linux/child_process.h"

#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "platform/linux/child_start.h"
#include "platform/linux/descriptor.h"
#include "platform/linux/error.h"

namespace parlen::linux {
namespace {

// The header of glibc 2.36 declares pidfd_open without C linkage.
Descriptor openProcess(pid_t process) {
  return Descriptor(static_cast<int>(syscall(SYS_pidfd_open, process, 0)));
}

class WatchedChild final : public ChildProcess {
 public:
  WatchedChild(pid_t child, Descriptor handle, std::function<void(ChildExit)> exited)
      : child_(child), handle_(std::move(handle)), exited_(std::move(exited)) {}

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
  void watchWith(Loop& loop) {
    watch_ = loop.watch(handle_.get(), Readiness::readable, [this] { finish(); });
  }

 private:
  void finish() {
    watch_.reset();
    const ChildExit exit = reapChild(child_);
    reaped_ = true;
    handle_.close();
    // The callback may destroy this object.
    const auto exited = std::move(exited_);
    exited(exit);
  }

  pid_t child_;
  Descriptor handle_;
  std::function<void(ChildExit)> exited_;
  bool reaped_ = false;
  std::unique_ptr<DescriptorWatch> watch_;
};

}  // namespace

platform::Result<std::unique_ptr<ChildProcess>> spawnChild(Loop& loop, const ChildOptions& options,
                                                           std::function<void(ChildExit)> exited) {
  const platform::Result<pid_t> child = startChild(options);
  if (!child) return std::unexpected(child.error());
  Descriptor handle = openProcess(*child);  // closed on exec by itself
  const int code = errno;
  const bool watchable = static_cast<bool>(handle);
  auto process = std::make_unique<WatchedChild>(*child, std::move(handle), std::move(exited));
  if (!watchable) return failure("watch " + options.program, code);
  process->watchWith(loop);
  return process;
}

}  // namespace parlen::linux
