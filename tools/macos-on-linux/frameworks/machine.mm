// Stands for VZVirtualMachine: a simulated machine, which plays the scenario. As Apple's page of
// VZVirtualMachine has it, everything happens on the machine's queue, here the main one, and calls
// from elsewhere end the process; the delegate is weak; and a disk image belongs to one running
// machine.
//
// It cannot show a guest, nor how long the framework takes for anything.
#import "virtualization.h"

#include <fcntl.h>
#include <sys/file.h>

#include <utility>

#include "platform/posix/descriptor.h"
#include "platform/simulated/handles.h"

using namespace parlen;
using harness::Handler;
using harness::requireMainThread;
using harness::toNsError;
using harness::world;

@implementation VZNetworkDevice
@synthesize attachment;
@end

namespace {

/// Hands the simulated machine's reports to the framework's delegate.
class Relay final : public platform::VirtualMachineDelegate {
 public:
  void guestDidStop() override {
    [machine releaseDisk];
    id<VZVirtualMachineDelegate> delegate = machine.delegate;
    if ([delegate respondsToSelector:@selector(guestDidStopVirtualMachine:)])
      [delegate guestDidStopVirtualMachine:machine];
  }
  void didStopWithError(const platform::PlatformError& error) override {
    [machine releaseDisk];
    id<VZVirtualMachineDelegate> delegate = machine.delegate;
    if ([delegate respondsToSelector:@selector(virtualMachine:didStopWithError:)])
      [delegate virtualMachine:machine didStopWithError:toNsError(error)];
  }
  void networkAttachmentDisconnected(const platform::PlatformError& error) override {
    [machine.delegate virtualMachine:machine
                             networkDevice:[VZNetworkDevice alloc]
        attachmentWasDisconnectedWithError:toNsError(error)];
  }

  __weak VZVirtualMachine* machine;
};

/// A lock on the file that ends with the descriptor; none if another machine has it.
posix::Descriptor lockDisk(const platform::MachineConfiguration& configuration) {
  if (configuration.storageDevices.empty()) return posix::Descriptor();
  const auto* disk = simulated::opened(configuration.storageDevices[0].attachment);
  posix::Descriptor file(open(disk->path().c_str(), O_RDONLY | O_CLOEXEC));
  if (file && flock(file.get(), LOCK_EX | LOCK_NB) != 0) file.close();
  return file;
}

}  // namespace

@implementation VZVirtualMachine {
  std::unique_ptr<simulated::Machine> _simulated;
  Relay _relay;
  posix::Descriptor _disk;
  BOOL _failed;
}
@synthesize delegate;

+ (BOOL)isSupported {
  return world()->scenario.host.supported;
}

- (instancetype)initWithConfiguration:(VZVirtualMachineConfiguration*)configuration {
  return [self initWithConfiguration:configuration queue:dispatch_get_main_queue()];
}

- (instancetype)initWithConfiguration:(VZVirtualMachineConfiguration*)configuration
                                queue:(dispatch_queue_t)queue {
  self = [super init];
  if (queue != dispatch_get_main_queue()) harness::raise(@"a machine on another queue");
  // The factory makes nothing but simulated machines.
  _simulated.reset(static_cast<simulated::Machine*>(
      simulated::MachineFactory(world()).createMachine([configuration simulated]).release()));
  _relay.machine = self;
  _simulated->setDelegate(&_relay);
  return self;
}

- (simulated::Machine*)simulated {
  return _simulated.get();
}
- (void)releaseDisk {
  _disk.close();
}
- (dispatch_queue_t)queue {
  return dispatch_get_main_queue();
}

- (VZVirtualMachineState)state {
  requireMainThread(@"VZVirtualMachine.state");
  if (_failed) return VZVirtualMachineStateError;
  return static_cast<VZVirtualMachineState>(_simulated->state());
}
- (BOOL)canPause {
  requireMainThread(@"VZVirtualMachine.canPause");
  return _simulated->canPause();
}
- (BOOL)canResume {
  requireMainThread(@"VZVirtualMachine.canResume");
  return _simulated->canResume();
}
- (BOOL)canRequestStop {
  requireMainThread(@"VZVirtualMachine.canRequestStop");
  return _simulated->canRequestStop();
}

- (void)startWithCompletionHandler:(Handler)handler {
  requireMainThread(@"startWithCompletionHandler:");
  _disk = lockDisk(_simulated->configuration());
  if (_disk) {
    _simulated->start([self, handler](const platform::Result<>& result) {
      if (!result) [self releaseDisk];
      handler(result ? nil : toNsError(result.error()));
    });
    return;
  }
  world()->trace.record("machine.start");
  _failed = YES;
  NSError* error =
      [NSError errorWithDomain:VZErrorDomain
                          code:VZErrorInternal
                      userInfo:@{
                        NSLocalizedDescriptionKey : @"The disk image is in use or cannot be opened."
                      }];
  dispatch_async(dispatch_get_main_queue(), ^{
    handler(error);
  });
}

- (void)stopWithCompletionHandler:(Handler)handler {
  requireMainThread(@"stopWithCompletionHandler:");
  _simulated->stop([self, handler](const platform::Result<>& result) {
    [self releaseDisk];
    handler(result ? nil : toNsError(result.error()));
  });
}

- (void)pauseWithCompletionHandler:(Handler)handler {
  requireMainThread(@"pauseWithCompletionHandler:");
  _simulated->pause(harness::toCompletion(handler));
}

- (void)resumeWithCompletionHandler:(Handler)handler {
  requireMainThread(@"resumeWithCompletionHandler:");
  _simulated->resume(harness::toCompletion(handler));
}

- (BOOL)requestStopWithError:(NSError**)error {
  requireMainThread(@"requestStopWithError:");
  const auto asked = _simulated->requestStop();
  return asked ? YES : harness::fail(error, asked.error());
}

@end
