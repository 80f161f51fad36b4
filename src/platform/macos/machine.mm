#import "platform/macos/machine.h"

#include <utility>

#import "platform/macos/bridge.h"
#import "platform/macos/configuration.h"
#import "platform/macos/handles.h"

namespace parlen::macos {

/// The part of a machine that its callbacks need. They may outlive it: a view, or the framework in
/// the middle of a call, keeps its VZVirtualMachine and the delegate.
class MachineLife {
 public:
  /// True for the first end of the machine, which is the only one reported. Apple's pages do not
  /// say whether the delegate is also called after a completed stopWithCompletionHandler:.
  bool claimEnd() { return !std::exchange(ended_, true); }

  /// While a hard stop is under way its completion reports the end.
  void stopBegins() { ++stops_; }
  void stopEnds() { --stops_; }
  bool isStopping() const { return stops_ > 0; }

  /// The machine has been destroyed: nothing is reported from now on.
  void leave() { left_ = true; }
  bool hasLeft() const { return left_; }

 private:
  int stops_ = 0;
  bool ended_ = false;
  bool left_ = false;
};

}  // namespace parlen::macos

/// Forwards the framework's delegate calls to the program's delegate.
@interface ParlenMachineDelegate : NSObject <VZVirtualMachineDelegate>
- (instancetype)initWithLife:(std::shared_ptr<parlen::macos::MachineLife>)life
                        warn:(parlen::platform::WarningSink)warn;
/// Null: nothing is forwarded.
@property parlen::platform::VirtualMachineDelegate* receiver;
@end

@implementation ParlenMachineDelegate {
  std::shared_ptr<parlen::macos::MachineLife> _life;
  parlen::platform::WarningSink _warn;
}

- (instancetype)initWithLife:(std::shared_ptr<parlen::macos::MachineLife>)life
                        warn:(parlen::platform::WarningSink)warn {
  self = [super init];
  _life = std::move(life);
  _warn = std::move(warn);
  return self;
}

/// Null also for a machine that has been destroyed.
- (parlen::platform::VirtualMachineDelegate*)listener {
  return _life->hasLeft() ? nullptr : self.receiver;
}

- (void)guestDidStopVirtualMachine:(VZVirtualMachine*)virtualMachine {
  if (self.listener == nullptr || !_life->claimEnd()) return;
  parlen::macos::callBack([self] { self.listener->guestDidStop(); });
}

- (void)virtualMachine:(VZVirtualMachine*)virtualMachine didStopWithError:(NSError*)error {
  if (self.listener == nullptr || !_life->claimEnd()) return;
  parlen::macos::callBack([self, error] {
    self.listener->didStopWithError(parlen::macos::error(error, self->_warn).error());
  });
}

// Apple's VZVirtualMachineDelegate page: may be called several times; networkDevice.attachment is
// nil afterwards.
- (void)virtualMachine:(VZVirtualMachine*)virtualMachine
                         networkDevice:(VZNetworkDevice*)networkDevice
    attachmentWasDisconnectedWithError:(NSError*)error {
  if (self.listener == nullptr) return;
  parlen::macos::callBack([self, error] {
    self.listener->networkAttachmentDisconnected(parlen::macos::error(error, self->_warn).error());
  });
}

@end

namespace parlen::macos {

using platform::Completion;
using platform::MachineState;
using platform::Result;

// The interface's numbers are VZVirtualMachineState's.
static_assert(static_cast<std::int64_t>(MachineState::stopped) == VZVirtualMachineStateStopped);
static_assert(static_cast<std::int64_t>(MachineState::error) == VZVirtualMachineStateError);
static_assert(static_cast<std::int64_t>(MachineState::stopping) == VZVirtualMachineStateStopping);

namespace {

/// When a completion means that the machine has ended.
enum class Ends { never, onFailure, onSuccess };

/// `handler`, but for a machine that has been destroyed, for a second end of the same machine, and
/// for a failure that ends it while it stops: it may fail a start that a hard stop cuts short.
CompletionHandler whileAlive(const std::shared_ptr<MachineLife>& life, Ends when,
                             CompletionHandler handler) {
  const std::shared_ptr<MachineLife> kept = life;
  return ^(NSError* error) {
    if (kept->hasLeft()) return;
    const bool ends = when == (error == nil ? Ends::onSuccess : Ends::onFailure);
    if (ends && error != nil && kept->isStopping()) return;
    if (!ends || kept->claimEnd()) handler(error);
  };
}

}  // namespace

Machine::Machine(VZVirtualMachine* machine, platform::WarningSink warn)
    : machine_(machine),
      warn_(std::move(warn)),
      life_(std::make_shared<MachineLife>()),
      delegate_([[ParlenMachineDelegate alloc] initWithLife:life_ warn:warn_]) {
  machine_.delegate = delegate_;
}

Machine::~Machine() {
  life_->leave();
  machine_.delegate = nil;
}

void Machine::setDelegate(platform::VirtualMachineDelegate* delegate) {
  delegate_.receiver = delegate;
}

std::int64_t Machine::state() const { return machine_.state; }

void Machine::start(Completion done) {
  [machine_ startWithCompletionHandler:whileAlive(life_, Ends::onFailure,
                                                  toHandler(std::move(done), warn_))];
}

bool Machine::canRequestStop() const { return machine_.canRequestStop; }

Result<> Machine::requestStop() {
  NSError* error = nil;
  // Apple's VZVirtualMachine page: YES means that the guest has been asked, not that it will stop.
  if (![machine_ requestStopWithError:&error]) return macos::error(error, warn_);
  return {};
}

void Machine::stop(Completion done) {
  const std::shared_ptr<MachineLife> life = life_;
  const CompletionHandler handler =
      whileAlive(life, Ends::onSuccess, toHandler(std::move(done), warn_));
  life->stopBegins();
  [machine_ stopWithCompletionHandler:^(NSError* error) {
    life->stopEnds();
    handler(error);
  }];
}

bool Machine::canPause() const { return machine_.canPause; }

void Machine::pause(Completion done) {
  [machine_
      pauseWithCompletionHandler:whileAlive(life_, Ends::never, toHandler(std::move(done), warn_))];
}

bool Machine::canResume() const { return machine_.canResume; }

void Machine::resume(Completion done) {
  [machine_ resumeWithCompletionHandler:whileAlive(life_, Ends::never,
                                                   toHandler(std::move(done), warn_))];
}

std::shared_ptr<const platform::AuxiliaryStorage> MachineFactory::openAuxiliaryStorage(
    const std::string& path) {
  // Apple's VZMacAuxiliaryStorage page: initWithURL: replaces initWithContentsOfURL: from macOS 13.
  // Neither has an error to report a missing file with.
  return wrap<AuxiliaryStorage>([[VZMacAuxiliaryStorage alloc] initWithURL:toFileUrl(path)]);
}

Result<std::shared_ptr<const platform::AuxiliaryStorage>> MachineFactory::createAuxiliaryStorage(
    const std::string& path, const platform::HardwareModel& model) {
  NSError* error = nil;
  // Apple's VZMacAuxiliaryStorage page: an existing file is overwritten only with the option
  // VZMacAuxiliaryStorageInitializationOptionAllowOverwrite.
  VZMacAuxiliaryStorage* storage =
      [[VZMacAuxiliaryStorage alloc] initCreatingStorageAtURL:toFileUrl(path)
                                                hardwareModel:unwrap(model)
                                                      options:0
                                                        error:&error];
  if (storage == nil) return macos::error(error, warn_);
  return wrap<AuxiliaryStorage>(storage);
}

Result<std::shared_ptr<const platform::DiskAttachment>> MachineFactory::attachDisk(
    const std::string& path, bool readOnly) {
  NSError* error = nil;
  VZDiskImageStorageDeviceAttachment* attachment =
      [[VZDiskImageStorageDeviceAttachment alloc] initWithURL:toFileUrl(path)
                                                     readOnly:readOnly
                                                        error:&error];
  if (attachment == nil) return macos::error(error, warn_);
  return wrap<DiskAttachment>(attachment);
}

std::string MachineFactory::automountTag() {
  return fromText(VZVirtioFileSystemDeviceConfiguration.macOSGuestAutomountTag);
}

Result<> MachineFactory::validate(const platform::MachineConfiguration& configuration) {
  NSError* error = nil;
  if (![toConfiguration(configuration) validateWithError:&error]) return macos::error(error, warn_);
  return {};
}

std::unique_ptr<platform::VirtualMachine> MachineFactory::createMachine(
    const platform::MachineConfiguration& configuration) {
  // Apple's VZVirtualMachine page: initWithConfiguration: uses the main queue and copies the
  // configuration.
  return std::make_unique<Machine>(
      [[VZVirtualMachine alloc] initWithConfiguration:toConfiguration(configuration)], warn_);
}

}  // namespace parlen::macos
