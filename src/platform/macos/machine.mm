#import "platform/macos/objc_machine.h"

#include <utility>

#import "platform/macos/bridge.h"
#import "platform/macos/objc_machine_delegate.h"

namespace parlen::macos {

using platform::Completion;
using platform::MachineState;

// The promise's numbers are the framework's own.
static_assert(static_cast<std::int64_t>(MachineState::stopped) == VZVirtualMachineStateStopped);
static_assert(static_cast<std::int64_t>(MachineState::error) == VZVirtualMachineStateError);
static_assert(static_cast<std::int64_t>(MachineState::stopping) == VZVirtualMachineStateStopping);

namespace {

enum class Reports { anything, theEndOnFailure, theEndOnSuccess };

/// What a completion that comes after the machine's own end has to say is said no more.
CompletionHandler whileAlive(const std::shared_ptr<MachineLife>& life, Reports reports,
                             CompletionHandler handler) {
  const std::weak_ptr<MachineLife> weakLife = life;
  return ^(NSError* error) {
    const auto alive = weakLife.lock();
    if (!alive) return;
    const bool ends =
        reports == (error == nil ? Reports::theEndOnSuccess : Reports::theEndOnFailure);
    if (!ends || alive->claimEnd()) handler(error);
  };
}

}  // namespace

// All calls and all callbacks of a machine without a queue of its own are on the main queue.

Machine::Machine(VZVirtualMachine* machine, platform::WarningSink warn)
    : machine_(machine),
      warn_(std::move(warn)),
      delegate_([[ParlenMachineDelegate alloc] initWithLife:life_ warn:warn_]) {
  machine_.delegate = delegate_;
}

Machine::~Machine() { delegate_.receiver = nullptr; }

void Machine::setDelegate(platform::VirtualMachineDelegate* delegate) {
  delegate_.receiver = delegate;
}

std::int64_t Machine::state() const { return machine_.state; }

void Machine::start(Completion done) {
  [machine_ startWithCompletionHandler:whileAlive(life_, Reports::theEndOnFailure,
                                                  toHandler(std::move(done), warn_))];
}

bool Machine::canRequestStop() const { return machine_.canRequestStop; }

platform::Result<> Machine::requestStop() {
  NSError* error = nil;
  // YES says that the guest has been asked, not that it will stop.
  if (![machine_ requestStopWithError:&error]) return failure(error, warn_);
  return {};
}

void Machine::stop(Completion done) {
  [machine_ stopWithCompletionHandler:whileAlive(life_, Reports::theEndOnSuccess,
                                                 toHandler(std::move(done), warn_))];
}

bool Machine::canPause() const { return machine_.canPause; }

void Machine::pause(Completion done) {
  [machine_ pauseWithCompletionHandler:whileAlive(life_, Reports::anything,
                                                  toHandler(std::move(done), warn_))];
}

bool Machine::canResume() const { return machine_.canResume; }

void Machine::resume(Completion done) {
  [machine_ resumeWithCompletionHandler:whileAlive(life_, Reports::anything,
                                                   toHandler(std::move(done), warn_))];
}

}  // namespace parlen::macos
