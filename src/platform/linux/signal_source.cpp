#include "platform/linux/signal_source.h"

#include <signal.h>
#include <sys/eventfd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <utility>

#include "platform/linux/descriptor.h"

namespace parlen::linux {
namespace {

using platform::TerminationSignal;

constexpr std::array signalNumbers{SIGTERM, SIGINT};  // in the order of TerminationSignal

// A signal handler is given nothing but the number, so this has to be found without an owner: the
// event descriptor of each signal's source, -1 for none.
constinit std::array<std::atomic<int>, signalNumbers.size()> events{-1, -1};

extern "C" void noteSignal(int signal) {
  const int before = errno;
  const int event = events[signal == signalNumbers[0] ? 0 : 1].load();
  if (event >= 0) eventfd_write(event, 1);
  errno = before;
}

// A handler rather than "ignore", which children would inherit.
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
  EventSource(Loop& loop, std::size_t index, platform::Work handler)
      : event_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
        slot_(events[index]),
        watch_(loop.watch(event_.get(), Readiness::readable,
                          [event = event_.get(), handler = std::move(handler)] {
                            eventfd_t count = 0;
                            eventfd_read(event, &count);
                            handler();
                          })) {
    if (!event_) std::abort();  // a signal that nobody can hear must not lose its effect
    slot_.store(event_.get());
    catchSignal(signalNumbers[index]);
  }

  ~EventSource() override {
    int own = event_.get();
    slot_.compare_exchange_strong(own, -1);
  }

 private:
  Descriptor event_;
  std::atomic<int>& slot_;
  std::unique_ptr<DescriptorWatch> watch_;
};

}  // namespace

std::unique_ptr<platform::SignalSource> watchSignal(Loop& loop, TerminationSignal signal,
                                                    platform::Work handler) {
  return std::make_unique<EventSource>(loop, static_cast<std::size_t>(signal), std::move(handler));
}

}  // namespace parlen::linux
