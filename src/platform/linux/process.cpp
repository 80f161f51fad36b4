#include "platform/linux/process.h"

#include <signal.h>
#include <sys/eventfd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <utility>

#include "platform/linux/child_process.h"
#include "platform/linux/error.h"
#include "platform/posix/descriptor.h"

namespace parlen::linux {
namespace {

constexpr std::array signalNumbers{SIGTERM, SIGINT};  // in the order of TerminationSignal

// The event descriptor of each signal's source, -1 for none. Global, because a signal handler is
// given nothing but the number.
constinit std::array<std::atomic<int>, signalNumbers.size()> events{-1, -1};

extern "C" void noteSignal(int signal) {
  const int before = errno;
  const int event = events[signal == signalNumbers[0] ? 0 : 1].load();
  if (event >= 0) eventfd_write(event, 1);
  errno = before;
}

// Caught rather than ignored: of an ignored signal Linux tells nobody. Children start with the
// default action either way.
void catchSignal(int signal) {
  struct sigaction action{};
  action.sa_handler = &noteSignal;
  action.sa_flags = SA_RESTART;
  sigaction(signal, &action, nullptr);
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, signal);
  pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);  // a parent may have left it blocked
}

class EventSource final : public platform::SignalSource {
 public:
  EventSource(EventLoop& loop, std::size_t index, posix::Descriptor event, platform::Work handler)
      : event_(std::move(event)),
        slot_(events[index]),
        watch_(loop.watch(event_.get(), Readiness::readable,
                          [event = event_.get(), handler = std::move(handler)] {
                            eventfd_t count = 0;
                            eventfd_read(event, &count);
                            handler();
                          })) {
    slot_.store(event_.get());
    catchSignal(signalNumbers[index]);
  }

  ~EventSource() override {
    int own = event_.get();
    slot_.compare_exchange_strong(own, -1);
  }

 private:
  posix::Descriptor event_;
  std::atomic<int>& slot_;
  std::unique_ptr<DescriptorWatch> watch_;
};

}  // namespace

platform::Result<std::unique_ptr<platform::SignalSource>> Process::watchSignal(
    platform::TerminationSignal signal, platform::Work handler) {
  posix::Descriptor event(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  if (!event) return error("watch for signals", errno);
  return std::make_unique<EventSource>(loop_, static_cast<std::size_t>(signal), std::move(event),
                                       std::move(handler));
}

platform::Result<int> Process::runAndWait(const std::string& program,
                                          const std::vector<std::string>& arguments) {
  ChildOptions options;
  options.program = program;
  options.arguments = arguments;
  options.descriptors = {{0, 0}, {1, 1}, {2, 2}};
  const platform::Result<ChildExit> exit = runChildToEnd(options);
  if (!exit) return std::unexpected(exit.error());
  return exit->status.value_or(128 + exit->signal);
}

}  // namespace parlen::linux
