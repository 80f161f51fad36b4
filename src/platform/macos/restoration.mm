#import "platform/macos/restoration.h"

#import <Virtualization/Virtualization.h>
#include <dispatch/dispatch.h>

#include <functional>
#include <utility>

#import "platform/macos/bridge.h"
#import "platform/macos/handles.h"
#import "platform/macos/machine.h"

/// Calls a function at each change of a progress, one call at a time, on the thread that changes it
/// (key-value observation has no thread of its own). The first call is made inside the initializer.
@interface ParlenProgressObserver : NSObject
- (instancetype)initWithProgress:(NSProgress*)progress onChange:(std::function<void()>)onChange;
/// No call is made afterwards. Waits for one that is in progress on another thread. May be called
/// from inside a call, also if that drops the last reference to this object.
- (void)end;
@end

namespace {

NSString* const keyPath = @"fractionCompleted";

// Its address identifies this observation, as NSKeyValueObserving recommends.
char context;

}  // namespace

@implementation ParlenProgressObserver {
  NSProgress* _progress;
  std::function<void()> _onChange;
}

- (instancetype)initWithProgress:(NSProgress*)progress onChange:(std::function<void()>)onChange {
  self = [super init];
  _progress = progress;
  _onChange = std::move(onChange);
  [_progress addObserver:self
              forKeyPath:keyPath
                 options:NSKeyValueObservingOptionInitial
                 context:&context];
  return self;
}

- (void)observeValueForKeyPath:(NSString*)path
                      ofObject:(id)object
                        change:(NSDictionary<NSKeyValueChangeKey, id>*)change
                       context:(void*)observed {
  // Both must live until the call returns; see `end`. An observer is not kept by what it observes.
  __attribute__((objc_precise_lifetime)) ParlenProgressObserver* const alive = self;
  @synchronized(alive) {
    const std::function<void()> onChange = _onChange;
    if (onChange) parlen::macos::callBack(onChange);
  }
}

- (void)end {
  // Removing the observer does not wait for a call in progress; the lock does.
  [_progress removeObserver:self forKeyPath:keyPath context:&context];
  @synchronized(self) {
    _onChange = nullptr;
  }
}

@end

namespace parlen::macos {
namespace {

class RestoreImage final : public Handle<platform::RestoreImage, VZMacOSRestoreImage> {
 public:
  using Handle::Handle;

  std::string path() const override { return fromText(object().URL.path); }

  std::optional<platform::ConfigurationRequirements> mostFeaturefulSupportedConfiguration()
      const override {
    VZMacOSConfigurationRequirements* requirements = object().mostFeaturefulSupportedConfiguration;
    if (requirements == nil) return std::nullopt;
    return platform::ConfigurationRequirements{
        .hardwareModel = wrap<HardwareModel>(requirements.hardwareModel),
        .minimumCPUCount = static_cast<std::int64_t>(requirements.minimumSupportedCPUCount),
        .minimumMemorySize = requirements.minimumSupportedMemorySize};
  }
};

class Observation final : public platform::ProgressObservation {
 public:
  explicit Observation(ParlenProgressObserver* observer) : observer_(observer) {}
  ~Observation() override { [observer_ end]; }

 private:
  ParlenProgressObserver* observer_;
};

class Installer final : public platform::Installer {
 public:
  Installer(VZMacOSInstaller* installer, platform::WarningSink warn)
      : installer_(installer), progress_(installer.progress), warn_(std::move(warn)) {}

  double fractionCompleted() const override { return progress_.fractionCompleted; }

  std::unique_ptr<platform::ProgressObservation> observeProgress(
      std::function<void()> onChange) override {
    return std::make_unique<Observation>(
        [[ParlenProgressObserver alloc] initWithProgress:progress_ onChange:std::move(onChange)]);
  }

  void install(platform::Completion done) override {
    [installer_ installWithCompletionHandler:toHandler(std::move(done), warn_)];
  }

 private:
  VZMacOSInstaller* installer_;
  // Observers ask it on the thread that changes it; the installer itself belongs to the main one.
  NSProgress* progress_;
  platform::WarningSink warn_;
};

void complete(const platform::Restoration::Loaded& done, VZMacOSRestoreImage* image, NSError* error,
              const platform::WarningSink& warn) {
  if (image == nil) return done(macos::error(error, warn));
  done(wrap<RestoreImage>(image));
}

}  // namespace

void Restoration::loadRestoreImage(const std::string& path, Loaded done) {
  const platform::WarningSink warn = warn_;
  // Apple's VZMacOSRestoreImage page: the completion handler runs on an arbitrary thread. Warnings
  // are for the main thread.
  [VZMacOSRestoreImage loadFileURL:toFileUrl(path)
                 completionHandler:^(VZMacOSRestoreImage* image, NSError* error) {
                   dispatch_async(dispatch_get_main_queue(), ^{
                     callBack(complete, done, image, error, warn);
                   });
                 }];
}

std::unique_ptr<platform::Installer> Restoration::createInstaller(
    platform::VirtualMachine& machine, const platform::RestoreImage& image) {
  // Apple's VZMacOSInstaller page: the initializer is called on the machine's queue, here the main
  // one.
  VZMacOSInstaller* installer = [[VZMacOSInstaller alloc]
      initWithVirtualMachine:static_cast<Machine&>(machine).object()
             restoreImageURL:static_cast<const RestoreImage&>(image).object().URL];
  return std::make_unique<Installer>(installer, warn_);
}

}  // namespace parlen::macos
