// Stands for VZMacOSRestoreImage and VZMacOSInstaller, on the simulated host's restoration. Apple's
// page of loadFileURL:completionHandler: leaves the handler's thread open, so it is another one
// here, and so is the one that changes the installer's progress.
//
// It cannot show an installation: neither its time, nor its network.
#import "virtualization.h"

#include "platform/simulated/restoration.h"

#include <thread>
#include <utility>

#import "platform/macos/bridge.h"

using namespace parlen;
using harness::Handler;
using harness::toNsError;
using harness::world;
using macos::fromText;
using macos::toText;

namespace {

simulated::Restoration restoration() { return simulated::Restoration(world()); }

/// Runs `work` on a thread of its own, and waits for it.
void onAnotherThread(const std::function<void()>& work) {
  std::thread([&work] {
    @autoreleasepool {
      work();
    }
  }).join();
}

}  // namespace

@implementation VZMacOSConfigurationRequirements {
 @public
  platform::ConfigurationRequirements _simulated;
}
- (VZMacHardwareModel*)hardwareModel {
  return [[VZMacHardwareModel alloc] initWithSimulated:_simulated.hardwareModel];
}
- (NSUInteger)minimumSupportedCPUCount {
  return static_cast<NSUInteger>(_simulated.minimumCPUCount);
}
- (uint64_t)minimumSupportedMemorySize {
  return _simulated.minimumMemorySize;
}
@end

@implementation VZMacOSRestoreImage {
 @public
  std::shared_ptr<const platform::RestoreImage> _simulated;
}

+ (void)loadFileURL:(NSURL*)url
    completionHandler:(void (^)(VZMacOSRestoreImage*, NSError*))handler {
  if (!url.isFileURL) harness::raise(@"loadFileURL: needs the URL of a file");
  restoration().loadRestoreImage(
      fromText(url.path),
      [handler](platform::Result<std::shared_ptr<const platform::RestoreImage>> result) {
        VZMacOSRestoreImage* image = result ? [VZMacOSRestoreImage alloc] : nil;
        if (result) image->_simulated = *result;
        NSError* error = result ? nil : toNsError(result.error());
        onAnotherThread([&] { handler(image, error); });
      });
}

- (NSURL*)URL {
  return [NSURL fileURLWithPath:toText(_simulated->path())];
}

- (VZMacOSConfigurationRequirements*)mostFeaturefulSupportedConfiguration {
  auto most = _simulated->mostFeaturefulSupportedConfiguration();
  if (!most) return nil;
  VZMacOSConfigurationRequirements* requirements = [VZMacOSConfigurationRequirements alloc];
  requirements->_simulated = *std::move(most);
  return requirements;
}

@end

/// GNUstep's NSProgress has an initializer that crashes, and no fraction that can be observed.
@interface ParlenProgress : NSObject
@property double fractionCompleted;
@end
@implementation ParlenProgress
@synthesize fractionCompleted;
@end

@implementation VZMacOSInstaller {
  std::unique_ptr<platform::Installer> _simulated;
  std::unique_ptr<platform::ProgressObservation> _observation;
  ParlenProgress* _progress;
  VZVirtualMachine* _machine;
}

- (instancetype)initWithVirtualMachine:(VZVirtualMachine*)machine restoreImageURL:(NSURL*)url {
  harness::requireMainThread(@"VZMacOSInstaller");
  self = [super init];
  _machine = machine;
  _simulated = restoration().createInstaller(*[machine simulated],
                                             simulated::RestoreImage(world(), fromText(url.path)));
  ParlenProgress* progress = [[ParlenProgress alloc] init];
  const platform::Installer* from = _simulated.get();
  _observation = _simulated->observeProgress([progress, from] {
    onAnotherThread([&] { progress.fractionCompleted = from->fractionCompleted(); });
  });
  _progress = progress;
  return self;
}

- (NSProgress*)progress {
  harness::requireMainThread(@"VZMacOSInstaller.progress");
  return static_cast<NSProgress*>(static_cast<id>(_progress));
}

- (VZVirtualMachine*)virtualMachine {
  return _machine;
}

- (void)installWithCompletionHandler:(Handler)handler {
  harness::requireMainThread(@"installWithCompletionHandler:");
  _simulated->install(harness::toCompletion(handler));
}

@end
