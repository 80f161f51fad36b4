// Stands for libdispatch: the main queue on GNUstep's run loop, serial queues, delays and signals.
// Strict where dispatch(3) leaves the program no choice: a queue that waits for itself, and work
// for a queue that nothing here serves, end the process.
//
// It cannot show priorities, the leeway of timers, or what a Mac does when threads run out.
#import <Foundation/Foundation.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

using Block = void (^)(void);
using Clock = std::chrono::steady_clock;

namespace {

[[noreturn]] void misused(const char* what) {
  std::fprintf(stderr, "macos-on-linux: libdispatch: %s\n", what);
  std::abort();
}

}  // namespace

/// A serial queue; the caller of dispatch_sync does the work.
@interface ParlenSerialQueue : NSObject {
 @public
  std::mutex _mutex;
  std::atomic<std::thread::id> _owner;
}
@end
@implementation ParlenSerialQueue
@end

/// The main queue: an event descriptor that the main run loop watches.
@interface ParlenMainQueue : NSObject <RunLoopEvents>
- (void)post:(Block)block;
@end

@implementation ParlenMainQueue {
  std::mutex _mutex;
  std::deque<Block> _blocks;
  int _event;
  bool _serving;
}

- (instancetype)init {
  self = [super init];
  _event = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  [[NSRunLoop mainRunLoop] addEvent:reinterpret_cast<void*>(static_cast<uintptr_t>(_event))
                               type:ET_RDESC
                            watcher:self
                            forMode:NSDefaultRunLoopMode];
  return self;
}

- (void)post:(Block)block {
  const std::lock_guard guard(_mutex);
  _blocks.push_back(block);
  eventfd_write(_event, 1);
}

- (Block)take {
  const std::lock_guard guard(_mutex);
  Block first = _blocks.front();
  _blocks.pop_front();
  return first;
}

// As on Apple's systems, what runs a run loop inside of a block of the main queue does not serve
// the main queue. What is posted meanwhile waits for the next iteration.
- (void)receivedEvent:(void*)data
                 type:(RunLoopEventType)type
                extra:(void*)extra
              forMode:(NSString*)mode {
  if (_serving) {
    usleep(1000);  // the descriptor stays readable
    return;
  }
  eventfd_t posted = 0;
  eventfd_read(_event, &posted);
  std::size_t left = 0;
  {
    const std::lock_guard guard(_mutex);
    left = _blocks.size();
  }
  _serving = true;
  for (; left > 0; --left) [self take]();
  _serving = false;
}

@end

/// A source of one signal's arrivals.
@interface ParlenSignalSource : NSObject {
 @public
  int _signal;
  id _queue;
  Block _handler;
  bool _cancelled;
}
@end
@implementation ParlenSignalSource
@end

extern "C" void dispatch_async(id queue, Block block);

namespace {

/// Delayed blocks, served by a thread of its own. Never destroyed.
class Timers {
 public:
  Timers() {
    std::thread([this] { serve(); }).detach();
  }

  void add(Clock::time_point when, id queue, Block block) {
    const std::lock_guard guard(mutex_);
    due_.emplace(when, std::pair(queue, block));
    changed_.notify_one();
  }

 private:
  [[noreturn]] void serve() {
    std::unique_lock guard(mutex_);
    for (;;) {
      if (due_.empty()) {
        changed_.wait(guard);
      } else if (const auto when = due_.begin()->first; Clock::now() < when) {
        changed_.wait_until(guard, when);
      } else {
        const auto node = due_.extract(due_.begin());
        @autoreleasepool {
          dispatch_async(node.mapped().first, node.mapped().second);
        }
      }
    }
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  std::multimap<Clock::time_point, std::pair<id, Block>> due_;
};

int signalPipe[2] = {-1, -1};

void caught(int number) {
  const char byte = static_cast<char>(number);
  [[maybe_unused]] const ssize_t written = write(signalPipe[1], &byte, 1);
}

/// The sources that have been resumed. Never destroyed.
class Signals {
 public:
  Signals() {
    if (pipe2(signalPipe, O_CLOEXEC) != 0) misused("no pipe");
    std::thread([this] { serve(); }).detach();
  }

  void add(ParlenSignalSource* source) {
    const std::lock_guard guard(mutex_);
    sources_.emplace(source->_signal, source);
  }

  void remove(ParlenSignalSource* source) {
    const std::lock_guard guard(mutex_);
    source->_cancelled = true;
    std::erase_if(sources_, [source](const auto& entry) { return entry.second == source; });
  }

 private:
  void serve() {
    // The kernel's filter on a Mac also sees a signal that the program's parent has blocked
    // (kqueue(2), EVFILT_SIGNAL: "even if the signal has been marked as SIG_IGN").
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_UNBLOCK, &all, nullptr);
    for (char number = 0; read(signalPipe[0], &number, 1) == 1;) tell(number);
  }

  void tell(int number) {
    @autoreleasepool {
      post(number);
    }
  }

  void post(int number) {
    const std::lock_guard guard(mutex_);
    const auto [from, to] = sources_.equal_range(number);
    for (auto at = from; at != to; ++at) {
      ParlenSignalSource* source = at->second;
      dispatch_async(source->_queue, ^{
        if (!source->_cancelled) source->_handler();
      });
    }
  }

  std::mutex mutex_;
  std::multimap<int, ParlenSignalSource*> sources_;
};

Timers& timers() {
  static auto* all = new Timers;
  return *all;
}

Signals& signals() {
  static auto* all = new Signals;
  return *all;
}

}  // namespace

struct dispatch_source_type_s {
  int kind;
};

extern "C" {

extern const dispatch_source_type_s _dispatch_source_type_signal;
const dispatch_source_type_s _dispatch_source_type_signal = {1};

// As a plain pointer: the queue lives for ever, and is asked for on threads without a pool.
void* dispatch_get_main_queue() {
  static id queue = [[ParlenMainQueue alloc] init];
  return (__bridge void*)queue;
}

__attribute__((ns_returns_retained)) id dispatch_queue_create(const char*, id) {
  return [[ParlenSerialQueue alloc] init];
}

void dispatch_sync(id queue, Block block) {
  if (![queue isKindOfClass:ParlenSerialQueue.class])
    misused("dispatch_sync to a queue that is not serial");
  ParlenSerialQueue* serial = queue;
  if (serial->_owner == std::this_thread::get_id()) misused("a queue waits for itself");
  const std::lock_guard guard(serial->_mutex);
  serial->_owner = std::this_thread::get_id();
  block();
  serial->_owner = std::thread::id();
}

void dispatch_async(id queue, Block block) {
  if (![queue isKindOfClass:ParlenMainQueue.class])
    misused("dispatch_async to a queue other than the main one");
  [static_cast<ParlenMainQueue*>(queue) post:block];
}

uint64_t dispatch_time(uint64_t, int64_t delta) {
  const auto when = Clock::now().time_since_epoch() + std::chrono::nanoseconds(delta);
  return static_cast<uint64_t>(when.count());
}

void dispatch_after(uint64_t when, id queue, Block block) {
  const Clock::time_point due{std::chrono::nanoseconds(static_cast<int64_t>(when))};
  if (due <= Clock::now()) return dispatch_async(queue, block);
  timers().add(due, queue, block);
}

__attribute__((ns_returns_retained)) id dispatch_source_create(const dispatch_source_type_s*,
                                                               uintptr_t handle, uintptr_t,
                                                               id queue) {
  ParlenSignalSource* source = [[ParlenSignalSource alloc] init];
  source->_signal = static_cast<int>(handle);
  source->_queue = queue;
  return source;
}

void dispatch_source_set_event_handler(id source, Block handler) {
  static_cast<ParlenSignalSource*>(source)->_handler = handler;
}

void dispatch_source_cancel(id source) { signals().remove(source); }

// On a Mac the kernel's filter sees the signal beside any action that it has, and the default
// action still ends the process. Here the filter is the action, and takes the place of SIG_IGN
// alone.
void dispatch_resume(id object) {
  ParlenSignalSource* source = object;
  signals().add(source);
  struct sigaction action{};
  sigaction(source->_signal, nullptr, &action);
  if (action.sa_handler != SIG_DFL) signal(source->_signal, caught);
}

}  // extern "C"
