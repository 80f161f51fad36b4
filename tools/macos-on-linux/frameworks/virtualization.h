#pragma once

// What the framework lets no program call, the initializers above all, is called here.
#import <Foundation/Foundation.h>
#undef NS_UNAVAILABLE
#define NS_UNAVAILABLE
#import <Virtualization/Virtualization.h>

#include <memory>

#include "platform/host.h"
#include "platform/simulated/machine.h"
#import "world.h"

/// The simulated objects behind those of the framework.

@interface VZMacHardwareModel ()
- (instancetype)initWithSimulated:(std::shared_ptr<const parlen::platform::HardwareModel>)simulated;
@end

@interface VZVirtualMachineConfiguration ()
/// The configuration that the framework's objects describe.
- (parlen::platform::MachineConfiguration)simulated;
@end

@interface VZVirtualMachine ()
- (parlen::simulated::Machine*)simulated;
/// The machine has ended: another one may use its disk.
- (void)releaseDisk;
@end

namespace parlen::harness {

/// What the framework's calls complete with; nil is success.
using Handler = void (^)(NSError* error);

inline platform::Completion toCompletion(Handler handler) {
  return [handler](const platform::Result<>& result) {
    handler(result ? nil : toNsError(result.error()));
  };
}

}  // namespace parlen::harness
