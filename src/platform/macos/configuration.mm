#import "platform/macos/configuration.h"

#import "platform/macos/bridge.h"
#import "platform/macos/handles.h"

// Apple's class pages mark +new as unavailable on most configuration classes, so everything here is
// made with alloc and init.
namespace parlen::macos {
namespace {

template <class Device, class Value, class Translate>
NSArray<Device*>* toArray(const std::vector<Value>& values, Translate translate) {
  NSMutableArray<Device*>* devices = [NSMutableArray arrayWithCapacity:values.size()];
  for (const Value& value : values) [devices addObject:translate(value)];
  return devices;
}

VZMacPlatformConfiguration* platformOf(const platform::MachineConfiguration& configuration) {
  VZMacPlatformConfiguration* platform = [[VZMacPlatformConfiguration alloc] init];
  platform.hardwareModel = unwrap(*configuration.hardwareModel);
  platform.machineIdentifier = unwrap(*configuration.machineIdentifier);
  platform.auxiliaryStorage = unwrap(*configuration.auxiliaryStorage);
  return platform;
}

VZBootLoader* toBootLoader(platform::BootLoader loader) {
  switch (loader) {
    case platform::BootLoader::none:
      return nil;
    case platform::BootLoader::macOS:
      return [[VZMacOSBootLoader alloc] init];
  }
}

VZMacGraphicsDisplayConfiguration* toDisplay(const platform::Display& display) {
  return [[VZMacGraphicsDisplayConfiguration alloc] initWithWidthInPixels:display.widthInPixels
                                                           heightInPixels:display.heightInPixels
                                                            pixelsPerInch:display.pixelsPerInch];
}

VZGraphicsDeviceConfiguration* toGraphics(const platform::GraphicsDevice& device) {
  VZMacGraphicsDeviceConfiguration* graphics = [[VZMacGraphicsDeviceConfiguration alloc] init];
  graphics.displays = toArray<VZMacGraphicsDisplayConfiguration>(device.displays, toDisplay);
  return graphics;
}

VZStorageDeviceConfiguration* toStorage(const platform::StorageDevice& device) {
  return [[VZVirtioBlockDeviceConfiguration alloc] initWithAttachment:unwrap(*device.attachment)];
}

VZNetworkDeviceAttachment* toAttachment(platform::NetworkAttachment attachment) {
  switch (attachment) {
    case platform::NetworkAttachment::nat:
      return [[VZNATNetworkDeviceAttachment alloc] init];
  }
}

VZNetworkDeviceConfiguration* toNetwork(const platform::NetworkDevice& device) {
  VZVirtioNetworkDeviceConfiguration* network = [[VZVirtioNetworkDeviceConfiguration alloc] init];
  network.attachment = toAttachment(device.attachment);
  // Apple's VZNetworkDeviceConfiguration page: the default MACAddress is a random one.
  if (!device.macAddress) return network;
  // initWithString: returns nil for text that is not an address; this text always is one.
  VZMACAddress* address =
      [[VZMACAddress alloc] initWithString:toText(platform::toString(*device.macAddress))];
  if (address != nil) network.MACAddress = address;
  return network;
}

VZEntropyDeviceConfiguration* toEntropy(platform::EntropyDevice device) {
  switch (device) {
    case platform::EntropyDevice::virtio:
      return [[VZVirtioEntropyDeviceConfiguration alloc] init];
  }
}

VZKeyboardConfiguration* toKeyboard(platform::Keyboard keyboard) {
  switch (keyboard) {
    case platform::Keyboard::usb:
      return [[VZUSBKeyboardConfiguration alloc] init];
  }
}

VZPointingDeviceConfiguration* toPointingDevice(platform::PointingDevice device) {
  switch (device) {
    case platform::PointingDevice::usbScreenCoordinate:
      return [[VZUSBScreenCoordinatePointingDeviceConfiguration alloc] init];
  }
}

VZSharedDirectory* sharedDirectoryOf(const platform::DirectorySharingDevice& device) {
  return [[VZSharedDirectory alloc] initWithURL:toFileUrl(device.path)
                                       readOnly:device.access == platform::ShareAccess::readOnly];
}

VZDirectorySharingDeviceConfiguration* toSharing(const platform::DirectorySharingDevice& device) {
  VZVirtioFileSystemDeviceConfiguration* sharing =
      [[VZVirtioFileSystemDeviceConfiguration alloc] initWithTag:toText(device.tag)];
  sharing.share = [[VZSingleDirectoryShare alloc] initWithDirectory:sharedDirectoryOf(device)];
  return sharing;
}

}  // namespace

VZVirtualMachineConfiguration* toConfiguration(
    const platform::MachineConfiguration& configuration) {
  VZVirtualMachineConfiguration* result = [[VZVirtualMachineConfiguration alloc] init];
  result.platform = platformOf(configuration);
  result.bootLoader = toBootLoader(configuration.bootLoader);
  result.CPUCount = static_cast<NSUInteger>(configuration.cpuCount);
  result.memorySize = configuration.memorySize;
  result.graphicsDevices =
      toArray<VZGraphicsDeviceConfiguration>(configuration.graphicsDevices, toGraphics);
  result.storageDevices =
      toArray<VZStorageDeviceConfiguration>(configuration.storageDevices, toStorage);
  result.networkDevices =
      toArray<VZNetworkDeviceConfiguration>(configuration.networkDevices, toNetwork);
  result.entropyDevices =
      toArray<VZEntropyDeviceConfiguration>(configuration.entropyDevices, toEntropy);
  result.keyboards = toArray<VZKeyboardConfiguration>(configuration.keyboards, toKeyboard);
  result.pointingDevices =
      toArray<VZPointingDeviceConfiguration>(configuration.pointingDevices, toPointingDevice);
  result.audioDevices = @[];  // platform::AudioDevice has no values
  result.directorySharingDevices = toArray<VZDirectorySharingDeviceConfiguration>(
      configuration.directorySharingDevices, toSharing);
  return result;
}

}  // namespace parlen::macos
