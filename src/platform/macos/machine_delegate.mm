#import "platform/macos/objc_machine_delegate.h"

#include <utility>

#import "platform/macos/bridge.h"

using parlen::macos::callBack;
using parlen::macos::failure;

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

- (void)guestDidStopVirtualMachine:(VZVirtualMachine*)virtualMachine {
  if (self.receiver == nullptr || !_life->claimEnd()) return;
  callBack([self] { self.receiver->guestDidStop(); });
}

- (void)virtualMachine:(VZVirtualMachine*)virtualMachine didStopWithError:(NSError*)error {
  if (self.receiver == nullptr || !_life->claimEnd()) return;
  callBack([self, error] { self.receiver->didStopWithError(failure(error, self->_warn).error()); });
}

// May come several times; the device's attachment is gone afterwards.
- (void)virtualMachine:(VZVirtualMachine*)virtualMachine
                         networkDevice:(VZNetworkDevice*)networkDevice
    attachmentWasDisconnectedWithError:(NSError*)error {
  if (self.receiver == nullptr) return;
  callBack([self, error] {
    self.receiver->networkAttachmentDisconnected(failure(error, self->_warn).error());
  });
}

@end
