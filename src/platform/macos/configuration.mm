#import "platform/macos/configuration.h"

#import "platform/macos/bridge.h"
#import "platform/macos/handles.h"

// +new is unavailable on most of the framework's configuration classes; +alloc and -init are not.
namespace parlen::macos {
namespace {

template <class Device, class Value, class Translate>
NSArray<Device*>* all(const std::vector<Value>& values, Translate translate) {
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
  graphics.displays = all<VZMacGraphicsDisplayConfiguration>(device.displays, toDisplay);
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
  if (!device.macAddress) return network;  // with the address that the framework has given it
  // Nil for text that is no address, which this is.
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
  VZVirtualMachineConfiguration* made = [[VZVirtualMachineConfiguration alloc] init];
  made.platform = platformOf(configuration);
  made.bootLoader = toBootLoader(configuration.bootLoader);
  made.CPUCount = static_cast<NSUInteger>(configuration.cpuCount);
  made.memorySize = configuration.memorySize;
  made.graphicsDevices =
      all<VZGraphicsDeviceConfiguration>(configuration.graphicsDevices, toGraphics);
  made.storageDevices = all<VZStorageDeviceConfiguration>(configuration.storageDevices, toStorage);
  made.networkDevices = all<VZNetworkDeviceConfiguration>(configuration.networkDevices, toNetwork);
  made.entropyDevices = all<VZEntropyDeviceConfiguration>(configuration.entropyDevices, toEntropy);
  made.keyboards = all<VZKeyboardConfiguration>(configuration.keyboards, toKeyboard);
  made.pointingDevices =
      all<VZPointingDeviceConfiguration>(configuration.pointingDevices, toPointingDevice);
  made.audioDevices = @[];  // there is no kind of them
  made.directorySharingDevices =
      all<VZDirectorySharingDeviceConfiguration>(configuration.directorySharingDevices, toSharing);
  return made;
}

}  // namespace parlen::macos
