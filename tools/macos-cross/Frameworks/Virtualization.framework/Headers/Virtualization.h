// Type-checking stand-in for <Virtualization/Virtualization.h>.
//
// Written by hand from publicly documented facts; it is NOT Apple's header, declares only what this
// program calls (see README.md), and must never be on the include path of a build made on a Mac.
#pragma once

#import <AppKit/AppKit.h>
#import <Foundation/Foundation.h>
#include <dispatch/dispatch.h>

#define VZ_EXPORT FOUNDATION_EXPORT

NS_ASSUME_NONNULL_BEGIN

@class VZAudioDeviceConfiguration, VZBootLoader, VZConsoleDeviceConfiguration, VZDirectoryShare,
    VZDirectorySharingDeviceConfiguration, VZEntropyDeviceConfiguration, VZGraphicsDeviceConfiguration,
    VZKeyboardConfiguration, VZMemoryBalloonDeviceConfiguration, VZNetworkDevice,
    VZNetworkDeviceConfiguration, VZPlatformConfiguration, VZPointingDeviceConfiguration,
    VZSerialPortConfiguration, VZSocketDeviceConfiguration, VZStorageDeviceConfiguration,
    VZUSBControllerConfiguration, VZVirtualMachine;

// ---------------------------------------------------------------------------------------------
// Errors
// ---------------------------------------------------------------------------------------------
VZ_EXPORT NSErrorDomain const VZErrorDomain API_AVAILABLE(macos(11.0));

typedef NS_ERROR_ENUM(VZErrorDomain, VZErrorCode) {
  VZErrorInternal = 1,
  VZErrorInvalidVirtualMachineConfiguration = 2,
  VZErrorInvalidVirtualMachineState = 3,
  VZErrorInvalidVirtualMachineStateTransition = 4,
  VZErrorInvalidDiskImage = 5,
  VZErrorVirtualMachineLimitExceeded API_AVAILABLE(macos(12.0)) = 6,
  VZErrorNetworkError API_AVAILABLE(macos(13.0)) = 7,
  VZErrorOutOfDiskSpace API_AVAILABLE(macos(13.0)) = 8,
  VZErrorOperationCancelled API_AVAILABLE(macos(13.0)) = 9,
  VZErrorNotSupported API_AVAILABLE(macos(13.0)) = 10,
  VZErrorSave API_AVAILABLE(macos(14.0)) = 11,
  VZErrorRestore API_AVAILABLE(macos(14.0)) = 12,
  VZErrorRestoreImageCatalogLoadFailed API_AVAILABLE(macos(13.0)) = 10001,
  VZErrorInvalidRestoreImageCatalog API_AVAILABLE(macos(13.0)) = 10002,
  VZErrorNoSupportedRestoreImagesInCatalog API_AVAILABLE(macos(13.0)) = 10003,
  VZErrorRestoreImageLoadFailed API_AVAILABLE(macos(13.0)) = 10004,
  VZErrorInvalidRestoreImage API_AVAILABLE(macos(13.0)) = 10005,
  VZErrorInstallationRequiresUpdate API_AVAILABLE(macos(13.0)) = 10006,
  VZErrorInstallationFailed API_AVAILABLE(macos(13.0)) = 10007,
  VZErrorNetworkBlockDeviceNegotiationFailed API_AVAILABLE(macos(14.0)) = 20001,
  VZErrorNetworkBlockDeviceDisconnected API_AVAILABLE(macos(14.0)) = 20002,
  VZErrorUSBControllerNotFound API_AVAILABLE(macos(15.0)) = 30001,
  VZErrorDeviceAlreadyAttached API_AVAILABLE(macos(15.0)) = 30002,
  VZErrorDeviceInitializationFailure API_AVAILABLE(macos(15.0)) = 30003,
  VZErrorDeviceNotFound API_AVAILABLE(macos(15.0)) = 30004,
} API_AVAILABLE(macos(11.0));

// ---------------------------------------------------------------------------------------------
// Configuration
// ---------------------------------------------------------------------------------------------
API_AVAILABLE(macos(11.0))
@interface VZVirtualMachineConfiguration : NSObject <NSCopying>
@property(strong, nullable) VZBootLoader *bootLoader;
@property uint64_t memorySize;
@property NSUInteger CPUCount;
@property(strong) VZPlatformConfiguration *platform API_AVAILABLE(macos(12.0));
@property(copy) NSArray<VZAudioDeviceConfiguration *> *audioDevices API_AVAILABLE(macos(12.0));
@property(copy) NSArray<VZConsoleDeviceConfiguration *> *consoleDevices API_AVAILABLE(macos(13.0));
@property(copy)
    NSArray<VZDirectorySharingDeviceConfiguration *> *directorySharingDevices API_AVAILABLE(macos(12.0));
@property(copy) NSArray<VZEntropyDeviceConfiguration *> *entropyDevices;
@property(copy) NSArray<VZMemoryBalloonDeviceConfiguration *> *memoryBalloonDevices;
@property(copy) NSArray<VZNetworkDeviceConfiguration *> *networkDevices;
@property(copy) NSArray<VZSerialPortConfiguration *> *serialPorts;
@property(copy) NSArray<VZSocketDeviceConfiguration *> *socketDevices;
@property(copy) NSArray<VZStorageDeviceConfiguration *> *storageDevices;
@property(copy) NSArray<VZKeyboardConfiguration *> *keyboards API_AVAILABLE(macos(12.0));
@property(copy) NSArray<VZPointingDeviceConfiguration *> *pointingDevices API_AVAILABLE(macos(12.0));
@property(copy) NSArray<VZGraphicsDeviceConfiguration *> *graphicsDevices API_AVAILABLE(macos(12.0));
@property(copy) NSArray<VZUSBControllerConfiguration *> *usbControllers API_AVAILABLE(macos(15.0));
@property(class, readonly) uint64_t minimumAllowedMemorySize;
@property(class, readonly) uint64_t maximumAllowedMemorySize;
@property(class, readonly) NSUInteger minimumAllowedCPUCount;
@property(class, readonly) NSUInteger maximumAllowedCPUCount;
- (BOOL)validateWithError:(NSError **)error;
- (BOOL)validateSaveRestoreSupportWithError:(NSError **)error API_AVAILABLE(macos(14.0));
@end

API_AVAILABLE(macos(11.0))
@interface VZBootLoader : NSObject <NSCopying>
+ (instancetype)new NS_UNAVAILABLE;
- (instancetype)init NS_UNAVAILABLE;
@end

API_AVAILABLE(macos(12.0))
@interface VZPlatformConfiguration : NSObject <NSCopying>
+ (instancetype)new NS_UNAVAILABLE;
- (instancetype)init NS_UNAVAILABLE;
@end

// ---- Storage ----
API_AVAILABLE(macos(11.0))
@interface VZStorageDeviceAttachment : NSObject
+ (instancetype)new NS_UNAVAILABLE;
- (instancetype)init NS_UNAVAILABLE;
@end

API_AVAILABLE(macos(11.0))
@interface VZStorageDeviceConfiguration : NSObject <NSCopying>
+ (instancetype)new NS_UNAVAILABLE;
- (instancetype)init NS_UNAVAILABLE;
@property(readonly, strong) VZStorageDeviceAttachment *attachment;
@end

API_AVAILABLE(macos(11.0))
@interface VZVirtioBlockDeviceConfiguration : VZStorageDeviceConfiguration
- (instancetype)initWithAttachment:(VZStorageDeviceAttachment *)attachment NS_DESIGNATED_INITIALIZER;
@end

typedef NS_ENUM(NSInteger, VZDiskImageCachingMode) {
  VZDiskImageCachingModeAutomatic = 0,
  VZDiskImageCachingModeUncached = 1,
  VZDiskImageCachingModeCached = 2
} API_AVAILABLE(macos(12.0));

typedef NS_ENUM(NSInteger, VZDiskImageSynchronizationMode) {
  VZDiskImageSynchronizationModeFull = 1,
  VZDiskImageSynchronizationModeFsync = 2,
  VZDiskImageSynchronizationModeNone = 3
} API_AVAILABLE(macos(12.0));

API_AVAILABLE(macos(11.0))
@interface VZDiskImageStorageDeviceAttachment : VZStorageDeviceAttachment
- (nullable instancetype)initWithURL:(NSURL *)url readOnly:(BOOL)readOnly error:(NSError **)error;
- (nullable instancetype)initWithURL:(NSURL *)url
                            readOnly:(BOOL)readOnly
                         cachingMode:(VZDiskImageCachingMode)cachingMode
                 synchronizationMode:(VZDiskImageSynchronizationMode)synchronizationMode
                               error:(NSError **)error API_AVAILABLE(macos(12.0));
@property(readonly) NSURL *URL;
@property(readonly, getter=isReadOnly) BOOL readOnly;
@end

// ---- Network ----
API_AVAILABLE(macos(11.0))
@interface VZMACAddress : NSObject <NSCopying>
+ (instancetype)new NS_UNAVAILABLE;
- (instancetype)init NS_UNAVAILABLE;
- (nullable instancetype)initWithString:(NSString *)string;
+ (instancetype)randomLocallyAdministeredAddress;
@property(readonly, copy) NSString *string;
@end

API_AVAILABLE(macos(11.0))
@interface VZNetworkDeviceAttachment : NSObject
+ (instancetype)new NS_UNAVAILABLE;
- (instancetype)init NS_UNAVAILABLE;
@end

API_AVAILABLE(macos(11.0))
@interface VZNATNetworkDeviceAttachment : VZNetworkDeviceAttachment
- (instancetype)init NS_DESIGNATED_INITIALIZER;
@end

API_AVAILABLE(macos(11.0))
@interface VZNetworkDeviceConfiguration : NSObject <NSCopying>
+ (instancetype)new NS_UNAVAILABLE;
- (instancetype)init NS_UNAVAILABLE;
@property(copy) VZMACAddress *MACAddress;
@property(strong, nullable) VZNetworkDeviceAttachment *attachment;
@end

API_AVAILABLE(macos(11.0))
@interface VZVirtioNetworkDeviceConfiguration : VZNetworkDeviceConfiguration
- (instancetype)init NS_DESIGNATED_INITIALIZER;
@end

API_AVAILABLE(macos(12.0))
@interface VZNetworkDevice : NSObject
+ (instancetype)new NS_UNAVAILABLE;
- (instancetype)init NS_UNAVAILABLE;
@property(strong, nullable) VZNetworkDeviceAttachment *attachment;
@end

// ---- Entropy, keyboard, pointing ----
API_AVAILABLE(macos(11.0))
@interface VZEntropyDeviceConfiguration : NSObject <NSCopying>
+ (instancetype)new NS_UNAVAILABLE;
- (instancetype)init NS_UNAVAILABLE;
@end

API_AVAILABLE(macos(11.0))
@interface VZVirtioEntropyDeviceConfiguration : VZEntropyDeviceConfiguration
- (instancetype)init NS_DESIGNATED_INITIALIZER;
@end

API_AVAILABLE(macos(12.0))
@interface VZKeyboardConfiguration : NSObject <NSCopying>
+ (instancetype)new NS_UNAVAILABLE;
- (instancetype)init NS_UNAVAILABLE;
@end

API_AVAILABLE(macos(12.0))
@interface VZUSBKeyboardConfiguration : VZKeyboardConfiguration
- (instancetype)init NS_DESIGNATED_INITIALIZER;
@end

API_AVAILABLE(macos(12.0))
@interface VZPointingDeviceConfiguration : NSObject <NSCopying>
+ (instancetype)new NS_UNAVAILABLE;
- (instancetype)init NS_UNAVAILABLE;
@end

API_AVAILABLE(macos(12.0))
@interface VZUSBScreenCoordinatePointingDeviceConfiguration : VZPointingDeviceConfiguration
- (instancetype)init NS_DESIGNATED_INITIALIZER;
@end

// ---- Directory sharing ----
API_AVAILABLE(macos(12.0))
@interface VZSharedDirectory : NSObject
+ (instancetype)new NS_UNAVAILABLE;
- (instancetype)init NS_UNAVAILABLE;
- (instancetype)initWithURL:(NSURL *)url readOnly:(BOOL)readOnly NS_DESIGNATED_INITIALIZER;
@property(readonly, copy) NSURL *URL;
@property(readonly, getter=isReadOnly) BOOL readOnly;
@end

API_AVAILABLE(macos(12.0))
@interface VZDirectoryShare : NSObject
+ (instancetype)new NS_UNAVAILABLE;
- (instancetype)init NS_UNAVAILABLE;
@end

API_AVAILABLE(macos(12.0))
@interface VZSingleDirectoryShare : VZDirectoryShare
- (instancetype)initWithDirectory:(VZSharedDirectory *)directory NS_DESIGNATED_INITIALIZER;
@property(readonly, strong) VZSharedDirectory *directory;
@end

API_AVAILABLE(macos(12.0))
@interface VZDirectorySharingDeviceConfiguration : NSObject <NSCopying>
+ (instancetype)new NS_UNAVAILABLE;
- (instancetype)init NS_UNAVAILABLE;
@end

API_AVAILABLE(macos(12.0))
@interface VZVirtioFileSystemDeviceConfiguration : VZDirectorySharingDeviceConfiguration
- (instancetype)initWithTag:(NSString *)tag;
+ (BOOL)validateTag:(NSString *)tag error:(NSError **)error;
@property(copy) NSString *tag;
@property(strong, nullable) VZDirectoryShare *share;
@property(class, readonly) NSString *macOSGuestAutomountTag API_AVAILABLE(macos(13.0));
@end

// ---- Graphics (base classes) ----
API_AVAILABLE(macos(12.0))
@interface VZGraphicsDeviceConfiguration : NSObject <NSCopying>
+ (instancetype)new NS_UNAVAILABLE;
- (instancetype)init NS_UNAVAILABLE;
@end

API_AVAILABLE(macos(12.0))
@interface VZGraphicsDisplayConfiguration : NSObject <NSCopying>
+ (instancetype)new NS_UNAVAILABLE;
- (instancetype)init NS_UNAVAILABLE;
@end

// ---------------------------------------------------------------------------------------------
// Virtual machine
// ---------------------------------------------------------------------------------------------
typedef NS_ENUM(NSInteger, VZVirtualMachineState) {
  VZVirtualMachineStateStopped = 0,
  VZVirtualMachineStateRunning = 1,
  VZVirtualMachineStatePaused = 2,
  VZVirtualMachineStateError = 3,
  VZVirtualMachineStateStarting = 4,
  VZVirtualMachineStatePausing = 5,
  VZVirtualMachineStateResuming = 6,
  VZVirtualMachineStateStopping API_AVAILABLE(macos(12.0)) = 7,
  VZVirtualMachineStateSaving API_AVAILABLE(macos(14.0)) = 8,
  VZVirtualMachineStateRestoring API_AVAILABLE(macos(14.0)) = 9,
} API_AVAILABLE(macos(11.0));

API_AVAILABLE(macos(11.0))
@protocol VZVirtualMachineDelegate <NSObject>
@optional
- (void)guestDidStopVirtualMachine:(VZVirtualMachine *)virtualMachine;
- (void)virtualMachine:(VZVirtualMachine *)virtualMachine didStopWithError:(NSError *)error;
- (void)virtualMachine:(VZVirtualMachine *)virtualMachine
                         networkDevice:(VZNetworkDevice *)networkDevice
    attachmentWasDisconnectedWithError:(NSError *)error API_AVAILABLE(macos(12.0));
@end

API_AVAILABLE(macos(11.0))
@interface VZVirtualMachine : NSObject
+ (instancetype)new NS_UNAVAILABLE;
- (instancetype)init NS_UNAVAILABLE;
- (instancetype)initWithConfiguration:(VZVirtualMachineConfiguration *)configuration;
- (instancetype)initWithConfiguration:(VZVirtualMachineConfiguration *)configuration
                                queue:(dispatch_queue_t)queue NS_DESIGNATED_INITIALIZER;
@property(readonly, strong) dispatch_queue_t queue API_AVAILABLE(macos(26.0));
@property(class, readonly, getter=isSupported) BOOL supported;
@property(readonly) VZVirtualMachineState state;
@property(weak, nullable) id<VZVirtualMachineDelegate> delegate;
@property(readonly) BOOL canStart;
@property(readonly) BOOL canStop API_AVAILABLE(macos(12.0));
@property(readonly) BOOL canPause;
@property(readonly) BOOL canResume;
@property(readonly) BOOL canRequestStop;
@property(readonly, copy) NSArray<VZNetworkDevice *> *networkDevices API_AVAILABLE(macos(12.0));
- (void)startWithCompletionHandler:(void (^)(NSError *_Nullable errorOrNil))completionHandler;
- (void)stopWithCompletionHandler:(void (^)(NSError *_Nullable errorOrNil))completionHandler
    API_AVAILABLE(macos(12.0));
- (void)pauseWithCompletionHandler:(void (^)(NSError *_Nullable errorOrNil))completionHandler;
- (void)resumeWithCompletionHandler:(void (^)(NSError *_Nullable errorOrNil))completionHandler;
- (BOOL)requestStopWithError:(NSError **)error;
@end

API_AVAILABLE(macos(12.0))
@interface VZVirtualMachineView : NSView
@property(nullable, strong) VZVirtualMachine *virtualMachine;
@property BOOL capturesSystemKeys;
@property BOOL automaticallyReconfiguresDisplay API_AVAILABLE(macos(14.0));
@end

// ---------------------------------------------------------------------------------------------
// macOS guests: Apple silicon only, so only declared for arm64
// ---------------------------------------------------------------------------------------------
#if defined(__arm64__)

API_AVAILABLE(macos(12.0))
@interface VZMacOSBootLoader : VZBootLoader
- (instancetype)init NS_DESIGNATED_INITIALIZER;
@end

API_AVAILABLE(macos(12.0))
@interface VZMacHardwareModel : NSObject <NSCopying>
+ (instancetype)new NS_UNAVAILABLE;
- (instancetype)init NS_UNAVAILABLE;
- (nullable instancetype)initWithDataRepresentation:(NSData *)dataRepresentation;
@property(readonly, copy) NSData *dataRepresentation;
@property(readonly, getter=isSupported) BOOL supported;
@end

API_AVAILABLE(macos(12.0))
@interface VZMacMachineIdentifier : NSObject <NSCopying>
- (instancetype)init;
- (nullable instancetype)initWithDataRepresentation:(NSData *)dataRepresentation;
@property(readonly, copy) NSData *dataRepresentation;
@end

typedef NS_OPTIONS(NSUInteger, VZMacAuxiliaryStorageInitializationOptions) {
  VZMacAuxiliaryStorageInitializationOptionAllowOverwrite = 1 << 0,
} API_AVAILABLE(macos(12.0));

API_AVAILABLE(macos(12.0))
@interface VZMacAuxiliaryStorage : NSObject
+ (instancetype)new NS_UNAVAILABLE;
- (instancetype)init NS_UNAVAILABLE;
- (instancetype)initWithURL:(NSURL *)URL API_AVAILABLE(macos(13.0));
// Formally deprecated only in macOS 27.0; superseded by -initWithURL: since 13.0.
- (instancetype)initWithContentsOfURL:(NSURL *)URL;
- (nullable instancetype)initCreatingStorageAtURL:(NSURL *)URL
                                    hardwareModel:(VZMacHardwareModel *)hardwareModel
                                          options:(VZMacAuxiliaryStorageInitializationOptions)options
                                            error:(NSError *_Nullable *_Nullable)error;
@property(readonly, copy) NSURL *URL;
@end

API_AVAILABLE(macos(12.0))
@interface VZMacPlatformConfiguration : VZPlatformConfiguration
- (instancetype)init NS_DESIGNATED_INITIALIZER;
@property(copy) VZMacHardwareModel *hardwareModel;
@property(copy) VZMacMachineIdentifier *machineIdentifier;
@property(strong, nullable) VZMacAuxiliaryStorage *auxiliaryStorage;
@end

API_AVAILABLE(macos(12.0))
@interface VZMacGraphicsDisplayConfiguration : VZGraphicsDisplayConfiguration
- (instancetype)initWithWidthInPixels:(NSInteger)widthInPixels
                       heightInPixels:(NSInteger)heightInPixels
                        pixelsPerInch:(NSInteger)pixelsPerInch;
- (instancetype)initForScreen:(NSScreen *)screen sizeInPoints:(NSSize)sizeInPoints;
@property NSInteger widthInPixels;
@property NSInteger heightInPixels;
@property NSInteger pixelsPerInch;
@end

API_AVAILABLE(macos(12.0))
@interface VZMacGraphicsDeviceConfiguration : VZGraphicsDeviceConfiguration
- (instancetype)init NS_DESIGNATED_INITIALIZER;
@property(copy) NSArray<VZMacGraphicsDisplayConfiguration *> *displays;
@end

API_AVAILABLE(macos(12.0))
@interface VZMacOSConfigurationRequirements : NSObject
+ (instancetype)new NS_UNAVAILABLE;
- (instancetype)init NS_UNAVAILABLE;
@property(readonly, strong) VZMacHardwareModel *hardwareModel;
@property(readonly) NSUInteger minimumSupportedCPUCount;
@property(readonly) uint64_t minimumSupportedMemorySize;
@end

API_AVAILABLE(macos(12.0))
@interface VZMacOSRestoreImage : NSObject
+ (instancetype)new NS_UNAVAILABLE;
- (instancetype)init NS_UNAVAILABLE;
+ (void)loadFileURL:(NSURL *)fileURL
    completionHandler:(void (^)(VZMacOSRestoreImage *_Nullable, NSError *_Nullable))completionHandler;
+ (void)fetchLatestSupportedWithCompletionHandler:
    (void (^)(VZMacOSRestoreImage *_Nullable, NSError *_Nullable))completionHandler;
@property(readonly, getter=isSupported) BOOL supported;
@property(readonly, copy) NSURL *URL;
@property(readonly, copy) NSString *buildVersion;
@property(readonly) NSOperatingSystemVersion operatingSystemVersion;
@property(readonly, strong, nullable)
    VZMacOSConfigurationRequirements *mostFeaturefulSupportedConfiguration;
@end

API_AVAILABLE(macos(12.0))
@interface VZMacOSInstaller : NSObject
+ (instancetype)new NS_UNAVAILABLE;
- (instancetype)init NS_UNAVAILABLE;
- (instancetype)initWithVirtualMachine:(VZVirtualMachine *)virtualMachine
                       restoreImageURL:(NSURL *)restoreImageFileURL NS_DESIGNATED_INITIALIZER;
- (void)installWithCompletionHandler:(void (^)(NSError *_Nullable))completionHandler;
@property(readonly, strong) NSProgress *progress;
@property(readonly, strong) VZVirtualMachine *virtualMachine;
@property(readonly, copy) NSURL *restoreImageURL;
@end

#endif  // __arm64__

NS_ASSUME_NONNULL_END
