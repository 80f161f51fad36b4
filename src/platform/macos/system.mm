#import "platform/macos/system.h"

#import <Foundation/Foundation.h>
#include <dispatch/dispatch.h>
#include <signal.h>
#include <spawn.h>
#include <string.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <vector>

#import "platform/macos/bridge.h"
#import "platform/macos/files.h"
#include "platform/posix/process.h"
#include "platform/posix/streams.h"

extern char** environ;  // environ(7): no header declares it

namespace parlen::macos {
namespace {

class DispatchQueue final : public platform::SerialQueue {
 public:
  explicit DispatchQueue(const std::string& label)
      : queue_(dispatch_queue_create(label.c_str(), DISPATCH_QUEUE_SERIAL)) {}

  void sync(const platform::Work& work) override {
    dispatch_sync(queue_, ^{
      callBack(work);
    });
  }

 private:
  dispatch_queue_t queue_;
};

/// The main dispatch queue and the system's clocks. Stateless.
class MainQueue final : public platform::EventLoop {
 public:
  void post(platform::Work work) override {
    dispatch_async(dispatch_get_main_queue(), ^{
      callBack(work);
    });
  }

  void postDelayed(std::chrono::milliseconds delay, platform::Work work) override {
    const std::chrono::nanoseconds nanoseconds = delay;
    dispatch_after(dispatch_time(DISPATCH_TIME_NOW, nanoseconds.count()), dispatch_get_main_queue(),
                   ^{
                     callBack(work);
                   });
  }

  // The main run loop serves the main queue and, unlike dispatch_main, also the sources that the
  // frameworks add to it.
  platform::Result<> run() override {
    [NSRunLoop.mainRunLoop run];
    return {};
  }

  // clock_gettime(3) of macOS: CLOCK_MONOTONIC keeps counting while the system sleeps.
  std::chrono::nanoseconds now() const override {
    return std::chrono::nanoseconds(clock_gettime_nsec_np(CLOCK_MONOTONIC));
  }

  // Apple's NSProcessInfo page: systemUptime counts only the time that the system was awake.
  std::chrono::nanoseconds systemUptime() const override {
    const std::chrono::duration<double> seconds(NSProcessInfo.processInfo.systemUptime);
    return std::chrono::duration_cast<std::chrono::nanoseconds>(seconds);
  }
};

class DispatchSource final : public platform::SignalSource {
 public:
  explicit DispatchSource(dispatch_source_t source) : source_(source) {}
  ~DispatchSource() override { dispatch_source_cancel(source_); }

 private:
  dispatch_source_t source_;
};

int number(platform::TerminationSignal signal) {
  switch (signal) {
    case platform::TerminationSignal::terminate:
      return SIGTERM;
    case platform::TerminationSignal::interrupt:
      return SIGINT;
  }
}

/// As shells count it: 128 plus the signal's number for a child that a signal ended.
int exitStatus(int status) {
  constexpr int signalled = 128;
  return WIFSIGNALED(status) ? signalled + WTERMSIG(status) : WEXITSTATUS(status);
}

/// How a child starts: with no signal blocked, and each with its default action, also those that
/// this process ignores.
class SpawnAttributes {
 public:
  SpawnAttributes() {
    posix_spawnattr_init(&attributes_);
    sigset_t signals;
    sigemptyset(&signals);
    posix_spawnattr_setsigmask(&attributes_, &signals);
    sigfillset(&signals);
    posix_spawnattr_setsigdefault(&attributes_, &signals);
    posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  }
  ~SpawnAttributes() { posix_spawnattr_destroy(&attributes_); }
  SpawnAttributes(const SpawnAttributes&) = delete;
  SpawnAttributes& operator=(const SpawnAttributes&) = delete;

  const posix_spawnattr_t* get() const { return &attributes_; }

 private:
  posix_spawnattr_t attributes_{};
};

/// This process. Stateless.
class Process final : public posix::Process {
 public:
  platform::Result<std::unique_ptr<platform::SignalSource>> watchSignal(
      platform::TerminationSignal signal, platform::Work handler) override {
    // A dispatch source does not replace the default action, and sees a signal that is ignored too
    // (dispatch_source_create(3)).
    ::signal(number(signal), SIG_IGN);
    dispatch_source_t source =
        dispatch_source_create(DISPATCH_SOURCE_TYPE_SIGNAL, static_cast<uintptr_t>(number(signal)),
                               0, dispatch_get_main_queue());
    dispatch_source_set_event_handler(source, ^{
      callBack(handler);
    });
    dispatch_resume(source);  // sources are created suspended
    return std::make_unique<DispatchSource>(source);
  }

  platform::Result<int> runAndWait(const std::string& program,
                                   const std::vector<std::string>& arguments) override {
    std::vector<char*> words{const_cast<char*>(program.c_str())};
    for (const std::string& argument : arguments)
      words.push_back(const_cast<char*>(argument.c_str()));
    words.push_back(nullptr);
    posix::keepExitStatuses();
    pid_t child = 0;
    // Not NSTask, which runs the run loop while it waits: the main queue would go on inside.
    if (const int code = posix_spawn(&child, program.c_str(), nullptr, SpawnAttributes().get(),
                                     words.data(), environ)) {
      return macos::error(code, "could not start " + program + ": " + strerror(code));
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
      if (errno != EINTR) return macos::error(errno, "could not wait for " + program);
    }
    return exitStatus(status);
  }
};

class System final : public platform::System {
 public:
  platform::Files& files() override { return files_; }
  platform::StandardStreams& streams() override { return streams_; }
  platform::EventLoop& loop() override { return mainQueue_; }
  platform::Process& process() override { return process_; }
  std::unique_ptr<platform::SerialQueue> makeSerialQueue(std::string_view label) override {
    return std::make_unique<DispatchQueue>(std::string(label));
  }

 private:
  Files files_;
  MainQueue mainQueue_;
  posix::Streams streams_{posix::StreamDescriptors{}, mainQueue_};
  Process process_;
};

}  // namespace

std::unique_ptr<platform::System> makeSystem() {
  posix::openStandardDescriptors();
  return std::make_unique<System>();
}

}  // namespace parlen::macos
