#import <Virtualization/Virtualization.h>

#include <cerrno>
#include <memory>
#include <utility>

#import "platform/macos/application.h"
#import "platform/macos/bridge.h"
#import "platform/macos/handles.h"
#import "platform/macos/machine.h"
#import "platform/macos/restoration.h"
#import "platform/macos/system.h"
#import "platform/macos/window_system.h"
#include "platform/platform.h"

// An entry point of the runtime that no header declares: Clang's documentation, "Objective-C
// Automatic Reference Counting", runtime support. @autoreleasepool cannot outlive a function.
extern "C" void* objc_autoreleasePoolPush(void);

namespace parlen::macos {
namespace {

class Capabilities final : public platform::HostCapabilities {
 public:
  bool isSupported() override { return VZVirtualMachine.isSupported; }

  std::int64_t processorCount() override {
    return static_cast<std::int64_t>(NSProcessInfo.processInfo.processorCount);
  }

  platform::MachineLimits limits() override {
    return {.minimumCPUCount =
                static_cast<std::int64_t>(VZVirtualMachineConfiguration.minimumAllowedCPUCount),
            .maximumCPUCount =
                static_cast<std::int64_t>(VZVirtualMachineConfiguration.maximumAllowedCPUCount),
            .minimumMemorySize = VZVirtualMachineConfiguration.minimumAllowedMemorySize,
            .maximumMemorySize = VZVirtualMachineConfiguration.maximumAllowedMemorySize};
  }
};

// Apple's VZMacHardwareModel and VZMacMachineIdentifier pages: initWithDataRepresentation: returns
// nil, without an error, for bytes that it does not recognize.
class Identities final : public platform::GuestIdentities {
 public:
  std::shared_ptr<const platform::HardwareModel> hardwareModel(std::string_view bytes) override {
    return wrap<HardwareModel>(
        [[VZMacHardwareModel alloc] initWithDataRepresentation:toData(bytes)]);
  }

  std::shared_ptr<const platform::MachineIdentifier> machineIdentifier(
      std::string_view bytes) override {
    return wrap<MachineIdentifier>(
        [[VZMacMachineIdentifier alloc] initWithDataRepresentation:toData(bytes)]);
  }

  std::shared_ptr<const platform::MachineIdentifier> newMachineIdentifier() override {
    return wrap<MachineIdentifier>([[VZMacMachineIdentifier alloc] init]);
  }

  platform::MacAddress randomMacAddress() override {
    NSString* text = [VZMACAddress randomLocallyAdministeredAddress].string;
    return platform::parseMacAddress(fromText(text)).value();
  }
};

/// Runs guests on the virtualization framework and shows them with AppKit. The constructor calls
/// neither.
class Host final : public platform::Host {
 public:
  explicit Host(const platform::WarningSink& warn)
      : warn_(warn), machines_(warn), restoration_(warn), application_(warn) {}

  platform::HostCapabilities& capabilities() override { return capabilities_; }
  platform::GuestIdentities& identities() override { return identities_; }
  platform::MachineFactory& machines() override { return machines_; }
  platform::Restoration& restoration() override { return restoration_; }
  platform::Application& application() override { return application_; }

  platform::Result<platform::WindowSystem*> windowSystem() override {
    if (!hasWindowServer()) return error(ENXIO, "there is no login session with a window server");
    if (!windowSystem_) windowSystem_ = makeWindowSystem(warn_);
    if (!windowSystem_) return error(ENXIO, "AppKit has made no application of this process");
    return windowSystem_.get();
  }

 private:
  platform::WarningSink warn_;
  Capabilities capabilities_;
  Identities identities_;
  MachineFactory machines_;
  Restoration restoration_;
  Application application_;
  std::unique_ptr<platform::WindowSystem> windowSystem_;
};

class NativePlatform final : public platform::NativePlatform {
 public:
  platform::System& system() override { return *system_; }
  std::string_view hostName() const override { return "macos"; }
  std::unique_ptr<platform::Host> makeHost(platform::WarningSink warn) override {
    return std::make_unique<Host>(std::move(warn));
  }

 private:
  std::unique_ptr<platform::System> system_ = makeSystem();
};

}  // namespace
}  // namespace parlen::macos

namespace parlen::platform {

// What is autoreleased before the loop runs goes to this pool, which stays: `main` never returns.
std::unique_ptr<NativePlatform> makeNativePlatform() {
  objc_autoreleasePoolPush();
  return std::make_unique<macos::NativePlatform>();
}

}  // namespace parlen::platform
