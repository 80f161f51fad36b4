#import "platform/macos/restoration.h"

#include <dispatch/dispatch.h>

#include <utility>

#import "platform/macos/bridge.h"
#import "platform/macos/handles.h"
#import "platform/macos/installer.h"

namespace parlen::macos {
namespace {

class RestoreImage final : public Handle<platform::RestoreImage, VZMacOSRestoreImage> {
 public:
  using Handle::Handle;

  std::string path() const override { return fromText(object().URL.path); }

  std::optional<platform::ConfigurationRequirements> mostFeaturefulSupportedConfiguration()
      const override {
    VZMacOSConfigurationRequirements* most = object().mostFeaturefulSupportedConfiguration;
    if (most == nil) return std::nullopt;
    return platform::ConfigurationRequirements{
        .hardwareModel = wrap<HardwareModel>(most.hardwareModel),
        .minimumCPUCount = static_cast<std::int64_t>(most.minimumSupportedCPUCount),
        .minimumMemorySize = most.minimumSupportedMemorySize};
  }
};

void forward(const platform::Restoration::Loaded& done, VZMacOSRestoreImage* image, NSError* error,
             const platform::WarningSink& warn) {
  if (image == nil) return done(failure(error, warn));
  done(wrap<RestoreImage>(image));
}

}  // namespace

void Restoration::loadRestoreImage(const std::string& path, Loaded done) {
  const platform::WarningSink warn = warn_;
  // The completion arrives on any thread, and warnings belong to the main one.
  [VZMacOSRestoreImage loadFileURL:toFileUrl(path)
                 completionHandler:^(VZMacOSRestoreImage* image, NSError* error) {
                   dispatch_async(dispatch_get_main_queue(), ^{
                     callBack(forward, done, image, error, warn);
                   });
                 }];
}

std::unique_ptr<platform::Installer> Restoration::createInstaller(
    platform::VirtualMachine& machine, const std::string& restoreImagePath) {
  return makeInstaller(machine, restoreImagePath, warn_);
}

}  // namespace parlen::macos
