#import "platform/macos/installer.h"

#import <Virtualization/Virtualization.h>

#include <utility>

#import "platform/macos/bridge.h"
#import "platform/macos/machine.h"
#import "platform/macos/objc_progress_observer.h"

namespace parlen::macos {
namespace {

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
      : installer_(installer), warn_(std::move(warn)) {}

  double fractionCompleted() const override { return installer_.progress.fractionCompleted; }

  std::unique_ptr<platform::ProgressObservation> observeProgress(
      std::function<void()> changed) override {
    return std::make_unique<Observation>([[ParlenProgressObserver alloc]
        initWithProgress:installer_.progress
                 changed:std::move(changed)]);
  }

  void install(platform::Completion done) override {
    [installer_ installWithCompletionHandler:toHandler(std::move(done), warn_)];
  }

 private:
  VZMacOSInstaller* installer_;
  platform::WarningSink warn_;
};

}  // namespace

std::unique_ptr<platform::Installer> makeInstaller(platform::VirtualMachine& machine,
                                                   const std::string& restoreImagePath,
                                                   platform::WarningSink warn) {
  VZMacOSInstaller* installer =
      [[VZMacOSInstaller alloc] initWithVirtualMachine:static_cast<Machine&>(machine).object()
                                       restoreImageURL:toFileUrl(restoreImagePath)];
  return std::make_unique<Installer>(installer, std::move(warn));
}

}  // namespace parlen::macos
