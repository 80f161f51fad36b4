#include "platform/linux/input_reader.h"

#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>
#include <utility>

#include "platform/linux/inbox.h"

namespace parlen::linux {
namespace {

constexpr std::size_t chunkSize = std::size_t{64} * 1024;
constexpr std::size_t stackSize = std::size_t{256} * 1024;
// A write that takes longer than this waits for its reader.
constexpr int patienceMilliseconds = 10;

// Signals are the main thread's business. SIGTTIN alone stays: with it blocked, a read by a
// background job of a terminal would fail instead of suspending the job.
sigset_t signalsToBlock() {
  sigset_t signals;
  sigfillset(&signals);
  sigdelset(&signals, SIGTTIN);
  return signals;
}

}  // namespace

InputReader::InputReader(int descriptor, platform::EventLoop& loop, const WriteActivity& writes,
                         platform::StandardStreams::InputHandler handler)
    : descriptor_(descriptor),
      loop_(loop),
      writes_(writes),
      inbox_(std::make_shared<Inbox>(std::move(handler))) {
  // Without a thread nothing can ever be heard: that is the end of the input.
  if (!startThread()) forward({});
}

InputReader::~InputReader() {
  inbox_->close();
  if (thread_) pthread_join(*thread_, nullptr);
}

bool InputReader::startThread() {
  const sigset_t blocked = signalsToBlock();
  sigset_t before;
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, stackSize);
  pthread_sigmask(SIG_SETMASK, &blocked, &before);  // a thread inherits it from its creator
  pthread_t thread{};
  if (pthread_create(&thread, &attributes, &threadMain, this) == 0) thread_ = thread;
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  pthread_attr_destroy(&attributes);
  return thread_.has_value();
}

void* InputReader::threadMain(void* reader) {
  static_cast<InputReader*>(reader)->readToEnd();
  return nullptr;
}

void InputReader::readToEnd() {
  const auto buffer = std::make_unique_for_overwrite<char[]>(chunkSize);
  while (!inbox_->closed()) {
    if (!waitForInput()) continue;
    const ssize_t count = read(descriptor_, buffer.get(), chunkSize);
    if (count < 0 && (errno == EINTR || errno == EAGAIN)) continue;
    forward({buffer.get(), count > 0 ? static_cast<std::size_t>(count) : 0});
    if (count <= 0) return;
  }
}

// False: nothing to read now, or no room for it; look again.
bool InputReader::waitForInput() {
  const bool mayRead = !inbox_->isFull() || mainIsStuck();
  pollfd waits[] = {{inbox_->wake(), POLLIN, 0}, {mayRead ? descriptor_ : -1, POLLIN, 0}};
  poll(waits, std::size(waits), mayRead ? -1 : patienceMilliseconds);
  return waits[1].revents != 0;
}

// Asked once in every wait for room. The same write twice in a row: its reader is not reading.
bool InputReader::mainIsStuck() {
  const std::uint64_t write = writes_.current();
  return write != 0 && write == std::exchange(seenWrite_, write);
}

void InputReader::forward(std::string_view bytes) {
  if (!inbox_->add(bytes)) return;
  loop_.post([inbox = inbox_] { inbox->drain(); });
}

}  // namespace parlen::linux
