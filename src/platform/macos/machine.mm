#import "platform/macos/objc_machine.h"

#include <utility>

#import "platform/macos/objc_completion.h"
#import "platform/macos/objc_errors.h"
#import "platform/macos/objc_machine_delegate.h"

namespace parlen::macos {

using platform::Completion;
using platform::MachineState;

// The promise's numbers are the framework's own.
static_assert(static_cast<std::int64_t>(MachineState::stopped) == VZVirtualMachineStateStopped);
static_assert(static_cast<std::int64_t>(MachineState::error) == VZVirtualMachineStateError);
static_assert(static_cast<std::int64_t>(MachineState::stopping) == VZVirtualMachineStateStopping);

// All calls and all callbacks of a machine without a queue of its own are on the main queue.

Machine::Machine(VZVirtualMachine* machine, platform::WarningSink warn)
    : machine_(machine),
      warn_(std::move(warn)),
      delegate_([[ParlenMachineDelegate alloc] initWithEnd:end_ warn:warn_]) {
  machine_.delegate = delegate_;
}

Machine::~Machine() { delegate_.receiver = nullptr; }

void Machine::setDelegate(platform::VirtualMachineDelegate* delegate) {
  delegate_.receiver = delegate;
}

std::int64_t Machine::state() const { return machine_.state; }

void Machine::start(Completion done) {
  const CompletionHandler handler = toHandler(std::move(done), warn_);
  const std::shared_ptr<FirstEnd> end = end_;
  [machine_ startWithCompletionHandler:^(NSError* error) {
    if (error == nil || end->claim()) handler(error);
  }];
}

bool Machine::canRequestStop() const { return machine_.canRequestStop; }

platform::Result<> Machine::requestStop() {
  NSError* error = nil;
  // YES says that the guest has been asked, not that it will stop.
  if (![machine_ requestStopWithError:&error]) return failure(error, warn_);
  return {};
}

void Machine::stop(Completion done) {
  const CompletionHandler handler = toHandler(std::move(done), warn_);
  const std::shared_ptr<FirstEnd> end = end_;
  [machine_ stopWithCompletionHandler:^(NSError* error) {
    if (error != nil || end->claim()) handler(error);
  }];
}

bool Machine::canPause() const { return machine_.canPause; }

void Machine::pause(Completion done) {
  [machine_ pauseWithCompletionHandler:toHandler(std::move(done), warn_)];
}

bool Machine::canResume() const { return machine_.canResume; }

void Machine::resume(Completion done) {
  [machine_ resumeWithCompletionHandler:toHandler(std::move(done), warn_)];
}

}  // namespace parlen::macos
