#include "platform/posix/input_reader.h"

#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace parlen::posix {
namespace {

constexpr std::size_t chunkSize = std::size_t{64} * 1024;
constexpr std::size_t stackSize = std::size_t{256} * 1024;
// A write that takes longer than this waits for its reader.
constexpr std::chrono::milliseconds writeTimeout{10};

// Signals are the main thread's business. SIGTTIN alone stays: with it blocked, a read by a
// background job of a terminal would fail instead of suspending the job.
sigset_t signalsToBlock() {
  sigset_t signals;
  sigfillset(&signals);
  sigdelset(&signals, SIGTTIN);
  return signals;
}

}  // namespace

bool Inbox::add(std::string_view bytes) {
  const std::scoped_lock lock(mutex_);
  waiting_.append(bytes);
  if (bytes.empty()) ended_ = true;
  return !std::exchange(drainQueued_, true);
}

bool Inbox::waitForRoom(std::chrono::milliseconds timeout) {
  std::unique_lock lock(mutex_);
  return hasRoom_.wait_for(lock, timeout, [&] { return waiting_.size() < limit || closed_; });
}

void Inbox::drain() {
  handled_.clear();
  std::unique_lock lock(mutex_);
  if (closed_) return;
  std::swap(handled_, waiting_);
  drainQueued_ = false;
  const bool ended = std::exchange(ended_, false);
  lock.unlock();
  hasRoom_.notify_one();
  if (!handled_.empty()) handler_(handled_);
  if (ended) handler_({});
  // Frees what an exceptionally long wait has needed.
  if (handled_.capacity() > 2 * limit) handled_ = std::string();
}

void Inbox::close() {
  const std::scoped_lock lock(mutex_);
  closed_ = true;
  hasRoom_.notify_one();
}

InputReader::InputReader(int descriptor, platform::EventLoop& loop, const WriteActivity& writes,
                         platform::StandardStreams::InputHandler handler)
    : descriptor_(descriptor),
      loop_(loop),
      writes_(writes),
      inbox_(std::make_shared<Inbox>(std::move(handler))) {}

int InputReader::start() {
  ending_ = makePipe();
  return ending_.reading ? startThread() : errno;
}

InputReader::~InputReader() {
  inbox_->close();
  std::string_view anything = "x";
  writeAll(ending_.writing.get(), anything);
  if (thread_) pthread_join(*thread_, nullptr);
}

int InputReader::startThread() {
  const sigset_t blocked = signalsToBlock();
  sigset_t before;
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, stackSize);
  pthread_sigmask(SIG_SETMASK, &blocked, &before);  // a thread inherits it from its creator
  pthread_t thread{};
  const int code = pthread_create(&thread, &attributes, &threadMain, this);
  if (code == 0) thread_ = thread;
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  pthread_attr_destroy(&attributes);
  return code;
}

void* InputReader::threadMain(void* reader) {
  static_cast<InputReader*>(reader)->readToEnd();
  return nullptr;
}

void InputReader::readToEnd() {
  const auto buffer = std::make_unique_for_overwrite<char[]>(chunkSize);
  for (;;) {
    waitForRoom();
    if (!waitForInput()) return;
    const ssize_t count = read(descriptor_, buffer.get(), chunkSize);
    if (count < 0 && (errno == EINTR || errno == EAGAIN)) continue;
    forward({buffer.get(), count > 0 ? static_cast<std::size_t>(count) : 0});
    if (count <= 0) return;
  }
}

void InputReader::waitForRoom() {
  while (!inbox_->waitForRoom({}) && !mainIsStuck()) inbox_->waitForRoom(writeTimeout);
}

// Asked once in every wait for room. The same write twice in a row: its reader is not reading.
bool InputReader::mainIsStuck() {
  const std::uint64_t write = writes_.current();
  return write != 0 && write == std::exchange(seenWrite_, write);
}

// False: the reader is to end.
bool InputReader::waitForInput() {
  pollfd waits[] = {{descriptor_, POLLIN, 0}, {ending_.reading.get(), POLLIN, 0}};
  do {
    waitUntilReady(waits);
  } while (waits[0].revents == 0 && waits[1].revents == 0);
  return waits[1].revents == 0;
}

void InputReader::forward(std::string_view bytes) {
  if (!inbox_->add(bytes)) return;
  loop_.post([inbox = inbox_] { inbox->drain(); });
}

}  // namespace parlen::posix
