#pragma once

#import <Virtualization/Virtualization.h>

#include <memory>

#include "platform/macos/objc_machine.h"
#include "platform/virtual_machine.h"

/// Forwards what the framework tells to the program's own delegate.
@interface ParlenMachineDelegate : NSObject <VZVirtualMachineDelegate>
- (instancetype)initWithLife:(std::shared_ptr<parlen::macos::MachineLife>)life
                        warn:(parlen::platform::WarningSink)warn;
/// Null: nobody hears.
@property parlen::platform::VirtualMachineDelegate* receiver;
@end
