// Stands for Virtualization's configuration classes: values, and handles on simulated objects. What
// is made of them is compared with the simulated host's own trace.
//
// It cannot show what the framework refuses beyond the scenario's limits.
#import "virtualization.h"

#include <utility>

#import "platform/macos/bridge.h"
#include "platform/simulated/handles.h"

using namespace parlen;
using harness::fail;
using harness::world;
using macos::fromData;
using macos::fromText;
using macos::toData;
using macos::toText;

NSErrorDomain const VZErrorDomain = @"VZErrorDomain";

/// In a class whose objects nobody changes after they were handed over: a copy is the object
/// itself.
#define COPIED_AS_ITSELF              \
  -(id)copyWithZone : (NSZone*)zone { \
    return self;                      \
  }

namespace {

simulated::Identities identities() { return simulated::Identities(world()); }
simulated::MachineFactory machines() { return simulated::MachineFactory(world()); }

}  // namespace

// ---- Identities ----

@implementation VZMacHardwareModel {
 @public
  std::shared_ptr<const platform::HardwareModel> _simulated;
}
- (instancetype)initWithSimulated:(std::shared_ptr<const platform::HardwareModel>)simulated {
  self = [super init];
  _simulated = std::move(simulated);
  return _simulated ? self : nil;
}
- (instancetype)initWithDataRepresentation:(NSData*)data {
  return [self initWithSimulated:identities().hardwareModel(fromData(data))];
}
- (NSData*)dataRepresentation {
  return toData(_simulated->dataRepresentation());
}
- (BOOL)isSupported {
  return _simulated->isSupported();
}
- (id)copyWithZone:(NSZone*)zone {
  return [[VZMacHardwareModel alloc] initWithSimulated:_simulated];
}
@end

@implementation VZMacMachineIdentifier {
 @public
  std::shared_ptr<const platform::MachineIdentifier> _simulated;
}
- (instancetype)init {
  self = [super init];
  _simulated = identities().newMachineIdentifier();
  return self;
}
- (instancetype)initWithDataRepresentation:(NSData*)data {
  self = [super init];
  _simulated = identities().machineIdentifier(fromData(data));
  return _simulated ? self : nil;
}
- (NSData*)dataRepresentation {
  return toData(_simulated->dataRepresentation());
}
- (id)copyWithZone:(NSZone*)zone {
  return [[VZMacMachineIdentifier alloc] initWithDataRepresentation:self.dataRepresentation];
}
@end

@implementation VZMACAddress {
  NSString* _string;
}
- (instancetype)initWithString:(NSString*)string {
  self = [super init];
  _string = [string copy];
  return platform::parseMacAddress(fromText(string)) ? self : nil;
}
+ (instancetype)randomLocallyAdministeredAddress {
  return [[self alloc] initWithString:toText(toString(identities().randomMacAddress()))];
}
- (NSString*)string {
  return _string;
}
COPIED_AS_ITSELF
@end

// ---- Platform ----

@implementation VZBootLoader
COPIED_AS_ITSELF
@end

@implementation VZMacOSBootLoader
@end

@implementation VZMacAuxiliaryStorage {
 @public
  std::shared_ptr<const platform::AuxiliaryStorage> _simulated;
  NSURL* _url;
}
- (instancetype)initWithURL:(NSURL*)url {
  self = [super init];
  _url = url;
  _simulated = machines().openAuxiliaryStorage(fromText(url.path));
  return self;
}
- (instancetype)initWithContentsOfURL:(NSURL*)url {
  return [self initWithURL:url];
}
- (instancetype)initCreatingStorageAtURL:(NSURL*)url
                           hardwareModel:(VZMacHardwareModel*)model
                                 options:(VZMacAuxiliaryStorageInitializationOptions)options
                                   error:(NSError**)error {
  self = [super init];
  _url = url;
  auto made = machines().createAuxiliaryStorage(fromText(url.path), *model->_simulated);
  if (!made) {
    fail(error, made.error());
    return nil;
  }
  _simulated = *std::move(made);
  return self;
}
- (NSURL*)URL {
  return _url;
}
@end

@implementation VZPlatformConfiguration
COPIED_AS_ITSELF
@end

@implementation VZMacPlatformConfiguration
@synthesize hardwareModel, machineIdentifier, auxiliaryStorage;
@end

// ---- Devices ----

@implementation VZStorageDeviceAttachment
@end

@implementation VZDiskImageStorageDeviceAttachment {
 @public
  std::shared_ptr<const platform::DiskAttachment> _simulated;
  NSURL* _url;
  BOOL _readOnly;
}
- (instancetype)initWithURL:(NSURL*)url readOnly:(BOOL)readOnly error:(NSError**)error {
  self = [super init];
  _url = url;
  _readOnly = readOnly;
  auto made = machines().attachDisk(fromText(url.path), readOnly);
  if (!made) {
    fail(error, made.error());
    return nil;
  }
  _simulated = *std::move(made);
  return self;
}
- (NSURL*)URL {
  return _url;
}
- (BOOL)isReadOnly {
  return _readOnly;
}
@end

@implementation VZStorageDeviceConfiguration {
 @public
  VZStorageDeviceAttachment* _attachment;
}
- (VZStorageDeviceAttachment*)attachment {
  return _attachment;
}
COPIED_AS_ITSELF
@end

@implementation VZVirtioBlockDeviceConfiguration
- (instancetype)initWithAttachment:(VZStorageDeviceAttachment*)attachment {
  self = [super init];
  _attachment = attachment;
  return self;
}
@end

@implementation VZNetworkDeviceAttachment
@end
@implementation VZNATNetworkDeviceAttachment
@end

@implementation VZNetworkDeviceConfiguration
@synthesize MACAddress, attachment;
COPIED_AS_ITSELF
@end
@implementation VZVirtioNetworkDeviceConfiguration
@end

@implementation VZEntropyDeviceConfiguration
COPIED_AS_ITSELF
@end
@implementation VZVirtioEntropyDeviceConfiguration
@end

@implementation VZKeyboardConfiguration
COPIED_AS_ITSELF
@end
@implementation VZUSBKeyboardConfiguration
@end

@implementation VZPointingDeviceConfiguration
COPIED_AS_ITSELF
@end
@implementation VZUSBScreenCoordinatePointingDeviceConfiguration
@end

@implementation VZSharedDirectory {
  NSURL* _url;
  BOOL _readOnly;
}
- (instancetype)initWithURL:(NSURL*)url readOnly:(BOOL)readOnly {
  self = [super init];
  _url = url;
  _readOnly = readOnly;
  return self;
}
- (NSURL*)URL {
  return _url;
}
- (BOOL)isReadOnly {
  return _readOnly;
}
@end

@implementation VZDirectoryShare
@end
@implementation VZSingleDirectoryShare {
  VZSharedDirectory* _directory;
}
- (instancetype)initWithDirectory:(VZSharedDirectory*)directory {
  self = [super init];
  _directory = directory;
  return self;
}
- (VZSharedDirectory*)directory {
  return _directory;
}
@end

@implementation VZDirectorySharingDeviceConfiguration
COPIED_AS_ITSELF
@end
@implementation VZVirtioFileSystemDeviceConfiguration
@synthesize tag, share;
- (instancetype)initWithTag:(NSString*)newTag {
  self = [super init];
  self.tag = newTag;
  return self;
}
+ (NSString*)macOSGuestAutomountTag {
  return toText(machines().automountTag());
}
@end

@implementation VZGraphicsDisplayConfiguration
COPIED_AS_ITSELF
@end
@implementation VZMacGraphicsDisplayConfiguration
@synthesize widthInPixels, heightInPixels, pixelsPerInch;
- (instancetype)initWithWidthInPixels:(NSInteger)width
                       heightInPixels:(NSInteger)height
                        pixelsPerInch:(NSInteger)density {
  self = [super init];
  self.widthInPixels = width;
  self.heightInPixels = height;
  self.pixelsPerInch = density;
  return self;
}
@end

@implementation VZGraphicsDeviceConfiguration
COPIED_AS_ITSELF
@end
@implementation VZMacGraphicsDeviceConfiguration
@synthesize displays;
@end

// ---- The whole ----

namespace {

platform::GraphicsDevice simulatedGraphics(VZMacGraphicsDeviceConfiguration* device) {
  platform::GraphicsDevice graphics;
  for (VZMacGraphicsDisplayConfiguration* display in device.displays) {
    graphics.displays.push_back(
        {display.widthInPixels, display.heightInPixels, display.pixelsPerInch});
  }
  return graphics;
}

platform::NetworkDevice simulatedNetwork(VZNetworkDeviceConfiguration* device) {
  if (device.attachment == nil) harness::raise(@"a network device without an attachment");
  platform::NetworkDevice network;
  if (device.MACAddress != nil)
    network.macAddress = platform::parseMacAddress(fromText(device.MACAddress.string)).value();
  return network;
}

platform::DirectorySharingDevice simulatedSharing(VZVirtioFileSystemDeviceConfiguration* device) {
  VZSharedDirectory* directory = static_cast<VZSingleDirectoryShare*>(device.share).directory;
  return {
      fromText(device.tag), fromText(directory.URL.path),
      directory.isReadOnly ? platform::ShareAccess::readOnly : platform::ShareAccess::readWrite};
}

}  // namespace

@implementation VZVirtualMachineConfiguration
@synthesize bootLoader, memorySize, CPUCount, platform, audioDevices, consoleDevices,
    directorySharingDevices, entropyDevices, memoryBalloonDevices, networkDevices, serialPorts,
    socketDevices, storageDevices, keyboards, pointingDevices, graphicsDevices, usbControllers;

+ (uint64_t)minimumAllowedMemorySize {
  return world()->scenario.host.minimumMemorySize;
}
+ (uint64_t)maximumAllowedMemorySize {
  return world()->scenario.host.maximumMemorySize;
}
+ (NSUInteger)minimumAllowedCPUCount {
  return static_cast<NSUInteger>(world()->scenario.host.minimumCPUCount);
}
+ (NSUInteger)maximumAllowedCPUCount {
  return static_cast<NSUInteger>(world()->scenario.host.maximumCPUCount);
}

COPIED_AS_ITSELF

- (void)describePlatform:(parlen::platform::MachineConfiguration&)result {
  auto* mac = static_cast<VZMacPlatformConfiguration*>(self.platform);
  if (mac.hardwareModel != nil) result.hardwareModel = mac.hardwareModel->_simulated;
  if (mac.machineIdentifier != nil) result.machineIdentifier = mac.machineIdentifier->_simulated;
  if (mac.auxiliaryStorage != nil) result.auxiliaryStorage = mac.auxiliaryStorage->_simulated;
  if (self.bootLoader != nil) result.bootLoader = parlen::platform::BootLoader::macOS;
  result.cpuCount = static_cast<std::int64_t>(self.CPUCount);
  result.memorySize = self.memorySize;
}

- (parlen::platform::MachineConfiguration)simulated {
  namespace p = parlen::platform;
  p::MachineConfiguration result;
  [self describePlatform:result];
  for (VZMacGraphicsDeviceConfiguration* device in self.graphicsDevices)
    result.graphicsDevices.push_back(simulatedGraphics(device));
  for (VZStorageDeviceConfiguration* device in self.storageDevices) {
    result.storageDevices.push_back(
        {static_cast<VZDiskImageStorageDeviceAttachment*>(device.attachment)->_simulated});
  }
  for (VZNetworkDeviceConfiguration* device in self.networkDevices)
    result.networkDevices.push_back(simulatedNetwork(device));
  result.entropyDevices.resize(self.entropyDevices.count, p::EntropyDevice::virtio);
  result.keyboards.resize(self.keyboards.count, p::Keyboard::usb);
  result.pointingDevices.resize(self.pointingDevices.count, p::PointingDevice::usbScreenCoordinate);
  for (VZVirtioFileSystemDeviceConfiguration* device in self.directorySharingDevices)
    result.directorySharingDevices.push_back(simulatedSharing(device));
  return result;
}

- (BOOL)validateWithError:(NSError**)error {
  const auto valid = machines().validate([self simulated]);
  return valid ? YES : fail(error, valid.error());
}

@end
