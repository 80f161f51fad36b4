// Type-checking stand-in for <Foundation/Foundation.h>.
//
// Written by hand from publicly documented facts; it is NOT Apple's header, declares only what this
// program calls (see README.md), and must never be on the include path of a build made on a Mac.
#pragma once

#ifndef __OBJC__
#error "Foundation shim: Objective-C / Objective-C++ only"
#endif

#define MACAPI_SHIM 1

#include <TargetConditionals.h>
#include <dispatch/dispatch.h>
#include <objc/NSObject.h>
#include <objc/NSObjCRuntime.h>
#include <objc/objc.h>
#include <os/availability.h>
#include <stdarg.h>
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

// ---------------------------------------------------------------------------------------------
// Macros
// ---------------------------------------------------------------------------------------------
#ifdef __cplusplus
#define FOUNDATION_EXPORT extern "C"
#else
#define FOUNDATION_EXPORT extern
#endif
#define FOUNDATION_EXTERN FOUNDATION_EXPORT
#define NS_INLINE static inline __attribute__((always_inline))

#define NS_ASSUME_NONNULL_BEGIN _Pragma("clang assume_nonnull begin")
#define NS_ASSUME_NONNULL_END _Pragma("clang assume_nonnull end")

#define NS_UNAVAILABLE __attribute__((unavailable))
#define NS_FORMAT_FUNCTION(f, a) __attribute__((format(__NSString__, f, a)))
#define NS_RETURNS_INNER_POINTER __attribute__((objc_returns_inner_pointer))
#define NS_REQUIRES_NIL_TERMINATION __attribute__((sentinel(0, 1)))
#define NS_REQUIRES_SUPER __attribute__((objc_requires_super))
#define NS_NOESCAPE __attribute__((noescape))
#define NS_SWIFT_NAME(n)

// In C++ an Apple NS_ENUM is an unscoped enum with a fixed underlying type (no implicit conversion
// from an integer), and an Apple NS_OPTIONS is a plain integer typedef plus anonymous enumerators
// (so flags combine with | without a cast). Both behaviours are reproduced here.
#define NS_ENUM(_type, _name)                                        \
  enum __attribute__((enum_extensibility(open))) _name : _type _name; \
  enum __attribute__((enum_extensibility(open))) _name : _type
#define NS_ERROR_ENUM(_domain, _name)                                     \
  enum __attribute__((enum_extensibility(open))) _name : NSInteger _name; \
  enum __attribute__((enum_extensibility(open))) _name : NSInteger
#ifdef __cplusplus
#define NS_OPTIONS(_type, _name) \
  _type _name;                   \
  enum __attribute__((flag_enum, enum_extensibility(open))) : _name
#else
#define NS_OPTIONS(_type, _name)                                                  \
  enum __attribute__((flag_enum, enum_extensibility(open))) _name : _type _name; \
  enum __attribute__((flag_enum, enum_extensibility(open))) _name : _type
#endif

// ---------------------------------------------------------------------------------------------
// Scalars and plain structs
// ---------------------------------------------------------------------------------------------
typedef double CGFloat;  // 64-bit only
typedef double NSTimeInterval;
typedef unsigned short unichar;
typedef struct _NSZone NSZone;

typedef struct CGPoint { CGFloat x, y; } CGPoint;
typedef struct CGSize { CGFloat width, height; } CGSize;
typedef struct CGRect { CGPoint origin; CGSize size; } CGRect;
typedef CGPoint NSPoint;
typedef CGSize NSSize;
typedef CGRect NSRect;
typedef struct NSEdgeInsets { CGFloat top, left, bottom, right; } NSEdgeInsets;
typedef struct _NSRange { NSUInteger location, length; } NSRange;
typedef struct {
  NSInteger majorVersion;
  NSInteger minorVersion;
  NSInteger patchVersion;
} NSOperatingSystemVersion;

NS_INLINE NSPoint NSMakePoint(CGFloat x, CGFloat y) { NSPoint p = {x, y}; return p; }
NS_INLINE NSSize NSMakeSize(CGFloat w, CGFloat h) { NSSize s = {w, h}; return s; }
NS_INLINE NSRect NSMakeRect(CGFloat x, CGFloat y, CGFloat w, CGFloat h) {
  NSRect r = {{x, y}, {w, h}};
  return r;
}
NS_INLINE CGPoint CGPointMake(CGFloat x, CGFloat y) { return NSMakePoint(x, y); }
NS_INLINE CGSize CGSizeMake(CGFloat w, CGFloat h) { return NSMakeSize(w, h); }
NS_INLINE CGRect CGRectMake(CGFloat x, CGFloat y, CGFloat w, CGFloat h) { return NSMakeRect(x, y, w, h); }
NS_INLINE NSEdgeInsets NSEdgeInsetsMake(CGFloat t, CGFloat l, CGFloat b, CGFloat r) {
  NSEdgeInsets e = {t, l, b, r};
  return e;
}
NS_INLINE NSRange NSMakeRange(NSUInteger loc, NSUInteger len) { NSRange r = {loc, len}; return r; }
NS_INLINE CGFloat NSMinX(NSRect r) { return r.origin.x; }
NS_INLINE CGFloat NSMinY(NSRect r) { return r.origin.y; }
NS_INLINE CGFloat NSWidth(NSRect r) { return r.size.width; }
NS_INLINE CGFloat NSHeight(NSRect r) { return r.size.height; }
NS_INLINE CGFloat NSMaxX(NSRect r) { return r.origin.x + r.size.width; }
NS_INLINE CGFloat NSMaxY(NSRect r) { return r.origin.y + r.size.height; }
NS_INLINE CGFloat NSMidX(NSRect r) { return r.origin.x + r.size.width * 0.5; }
NS_INLINE CGFloat NSMidY(NSRect r) { return r.origin.y + r.size.height * 0.5; }

NS_ASSUME_NONNULL_BEGIN

FOUNDATION_EXPORT const NSPoint NSZeroPoint;
FOUNDATION_EXPORT const NSSize NSZeroSize;
FOUNDATION_EXPORT const NSRect NSZeroRect;

static const NSInteger NSNotFound = NSIntegerMax;

typedef NS_ENUM(NSInteger, NSComparisonResult) {
  NSOrderedAscending = -1L,
  NSOrderedSame,
  NSOrderedDescending
};

typedef NS_ENUM(NSInteger, NSQualityOfService) {
  NSQualityOfServiceUserInteractive = 0x21,
  NSQualityOfServiceUserInitiated = 0x19,
  NSQualityOfServiceUtility = 0x11,
  NSQualityOfServiceBackground = 0x09,
  NSQualityOfServiceDefault = -1
};

@class NSArray<ObjectType>, NSMutableArray<ObjectType>, NSDictionary<KeyType, ObjectType>, NSBundle,
    NSData, NSDate, NSError, NSFileHandle, NSNotification, NSNumber, NSProgress, NSRunLoop, NSString,
    NSTask, NSThread, NSTimer, NSURL, NSOperationQueue;

// ---------------------------------------------------------------------------------------------
// Protocols
// ---------------------------------------------------------------------------------------------
@protocol NSCopying
- (id)copyWithZone:(nullable NSZone *)zone;
@end

@protocol NSMutableCopying
- (id)mutableCopyWithZone:(nullable NSZone *)zone;
@end

typedef struct {
  unsigned long state;
  id __unsafe_unretained _Nullable *_Nullable itemsPtr;
  unsigned long *_Nullable mutationsPtr;
  unsigned long extra[5];
} NSFastEnumerationState;

@protocol NSFastEnumeration
- (NSUInteger)countByEnumeratingWithState:(NSFastEnumerationState *)state
                                  objects:(id __unsafe_unretained _Nullable[_Nonnull])buffer
                                    count:(NSUInteger)len;
@end

// ---------------------------------------------------------------------------------------------
// Strings
// ---------------------------------------------------------------------------------------------
typedef NSUInteger NSStringEncoding;
enum : NSStringEncoding { NSUTF8StringEncoding = 4, NSISOLatin1StringEncoding = 5 };

@interface NSString : NSObject <NSCopying, NSMutableCopying>
@property(readonly) NSUInteger length;
- (unichar)characterAtIndex:(NSUInteger)index;
@property(nullable, readonly) const char *UTF8String NS_RETURNS_INNER_POINTER;
@property(readonly) const char *fileSystemRepresentation NS_RETURNS_INNER_POINTER;
@property(readonly) NSInteger integerValue;
@property(readonly, copy) NSString *lowercaseString;
@property(readonly, copy) NSString *lastPathComponent;
@property(readonly, copy) NSString *pathExtension;
@property(readonly, copy) NSString *stringByDeletingLastPathComponent;
@property(readonly, copy) NSString *stringByStandardizingPath;
@property(readonly, copy) NSString *stringByExpandingTildeInPath;
@property(getter=isAbsolutePath, readonly) BOOL absolutePath;
+ (instancetype)string;
+ (nullable instancetype)stringWithUTF8String:(const char *)nullTerminatedCString;
+ (instancetype)stringWithFormat:(NSString *)format, ... NS_FORMAT_FUNCTION(1, 2);
+ (instancetype)stringWithCharacters:(const unichar *)characters length:(NSUInteger)length;
+ (nullable instancetype)stringWithContentsOfFile:(NSString *)path
                                         encoding:(NSStringEncoding)enc
                                            error:(NSError **)error;
- (nullable instancetype)initWithUTF8String:(const char *)nullTerminatedCString;
- (nullable instancetype)initWithData:(NSData *)data encoding:(NSStringEncoding)encoding;
- (nullable instancetype)initWithBytes:(const void *)bytes
                                length:(NSUInteger)len
                              encoding:(NSStringEncoding)encoding;
- (NSString *)substringFromIndex:(NSUInteger)from;
- (NSString *)substringToIndex:(NSUInteger)to;
- (NSString *)substringWithRange:(NSRange)range;
- (BOOL)isEqualToString:(NSString *)aString;
- (BOOL)hasPrefix:(NSString *)str;
- (BOOL)hasSuffix:(NSString *)str;
- (NSString *)stringByAppendingString:(NSString *)aString;
- (NSString *)stringByAppendingPathComponent:(NSString *)str;
- (NSArray<NSString *> *)componentsSeparatedByString:(NSString *)separator;
- (nullable NSData *)dataUsingEncoding:(NSStringEncoding)encoding;
- (BOOL)writeToFile:(NSString *)path
         atomically:(BOOL)useAuxiliaryFile
           encoding:(NSStringEncoding)enc
              error:(NSError **)error;
- (BOOL)writeToURL:(NSURL *)url
        atomically:(BOOL)useAuxiliaryFile
          encoding:(NSStringEncoding)enc
             error:(NSError **)error;
@end

FOUNDATION_EXPORT void NSLog(NSString *format, ...) NS_FORMAT_FUNCTION(1, 2);
FOUNDATION_EXPORT NSString *NSHomeDirectory(void);
FOUNDATION_EXPORT NSString *NSTemporaryDirectory(void);
FOUNDATION_EXPORT NSString *NSStringFromClass(Class aClass);
FOUNDATION_EXPORT NSString *NSStringFromSelector(SEL aSelector);
FOUNDATION_EXPORT SEL NSSelectorFromString(NSString *aSelectorName);

typedef NSString *NSErrorDomain;
typedef NSString *NSErrorUserInfoKey;
typedef NSString *NSKeyValueChangeKey;
typedef NSString *NSFileAttributeKey;
typedef NSString *NSFileAttributeType;
typedef NSString *NSNotificationName;
typedef NSString *NSRunLoopMode;
typedef NSString *NSURLResourceKey;

// ---------------------------------------------------------------------------------------------
// Numbers, dates, data
// ---------------------------------------------------------------------------------------------
@interface NSValue : NSObject <NSCopying>
@end

@interface NSNumber : NSValue
@property(readonly) int intValue;
@property(readonly) long long longLongValue;
@property(readonly) unsigned long long unsignedLongLongValue;
@property(readonly) double doubleValue;
@property(readonly) BOOL boolValue;
@property(readonly) NSInteger integerValue;
@property(readonly) NSUInteger unsignedIntegerValue;
+ (NSNumber *)numberWithChar:(char)value;
+ (NSNumber *)numberWithUnsignedChar:(unsigned char)value;
+ (NSNumber *)numberWithShort:(short)value;
+ (NSNumber *)numberWithUnsignedShort:(unsigned short)value;
+ (NSNumber *)numberWithInt:(int)value;
+ (NSNumber *)numberWithUnsignedInt:(unsigned int)value;
+ (NSNumber *)numberWithLong:(long)value;
+ (NSNumber *)numberWithUnsignedLong:(unsigned long)value;
+ (NSNumber *)numberWithLongLong:(long long)value;
+ (NSNumber *)numberWithUnsignedLongLong:(unsigned long long)value;
+ (NSNumber *)numberWithFloat:(float)value;
+ (NSNumber *)numberWithDouble:(double)value;
+ (NSNumber *)numberWithBool:(BOOL)value;
+ (NSNumber *)numberWithInteger:(NSInteger)value;
+ (NSNumber *)numberWithUnsignedInteger:(NSUInteger)value;
@end

@interface NSDate : NSObject <NSCopying>
@property(readonly) NSTimeInterval timeIntervalSinceReferenceDate;
@property(readonly) NSTimeInterval timeIntervalSinceNow;
@property(readonly) NSTimeInterval timeIntervalSince1970;
@property(class, readonly, copy) NSDate *distantFuture;
@property(class, readonly, copy) NSDate *distantPast;
+ (instancetype)date;
+ (instancetype)dateWithTimeIntervalSinceNow:(NSTimeInterval)secs;
@end

typedef NS_OPTIONS(NSUInteger, NSDataReadingOptions) {
  NSDataReadingMappedIfSafe = 1UL << 0,
  NSDataReadingUncached = 1UL << 1,
  NSDataReadingMappedAlways = 1UL << 3,
};
typedef NS_OPTIONS(NSUInteger, NSDataWritingOptions) {
  NSDataWritingAtomic = 1UL << 0,
  NSDataWritingWithoutOverwriting = 1UL << 1,
};

@interface NSData : NSObject <NSCopying, NSMutableCopying>
@property(readonly) NSUInteger length;
@property(readonly) const void *bytes NS_RETURNS_INNER_POINTER;
+ (instancetype)data;
+ (instancetype)dataWithBytes:(nullable const void *)bytes length:(NSUInteger)length;
+ (instancetype)dataWithBytesNoCopy:(void *)bytes length:(NSUInteger)length freeWhenDone:(BOOL)b;
+ (nullable instancetype)dataWithContentsOfFile:(NSString *)path;
+ (nullable instancetype)dataWithContentsOfURL:(NSURL *)url;
+ (nullable instancetype)dataWithContentsOfFile:(NSString *)path
                                        options:(NSDataReadingOptions)readOptionsMask
                                          error:(NSError **)errorPtr;
+ (nullable instancetype)dataWithContentsOfURL:(NSURL *)url
                                       options:(NSDataReadingOptions)readOptionsMask
                                         error:(NSError **)errorPtr;
- (instancetype)initWithBytes:(nullable const void *)bytes length:(NSUInteger)length;
- (BOOL)isEqualToData:(NSData *)other;
- (BOOL)writeToFile:(NSString *)path atomically:(BOOL)useAuxiliaryFile;
- (BOOL)writeToURL:(NSURL *)url atomically:(BOOL)atomically;
- (BOOL)writeToFile:(NSString *)path
            options:(NSDataWritingOptions)writeOptionsMask
              error:(NSError **)errorPtr;
- (BOOL)writeToURL:(NSURL *)url
           options:(NSDataWritingOptions)writeOptionsMask
             error:(NSError **)errorPtr;
@end

// ---------------------------------------------------------------------------------------------
// Collections (enough for literals, subscripting and for-in)
// ---------------------------------------------------------------------------------------------
@interface NSArray<__covariant ObjectType> : NSObject <NSCopying, NSMutableCopying, NSFastEnumeration>
@property(readonly) NSUInteger count;
@property(nullable, nonatomic, readonly) ObjectType firstObject;
@property(nullable, nonatomic, readonly) ObjectType lastObject;
- (ObjectType)objectAtIndex:(NSUInteger)index;
- (ObjectType)objectAtIndexedSubscript:(NSUInteger)idx;
- (BOOL)containsObject:(ObjectType)anObject;
- (NSUInteger)indexOfObject:(ObjectType)anObject;
- (NSString *)componentsJoinedByString:(NSString *)separator;
+ (instancetype)array;
+ (instancetype)arrayWithObject:(ObjectType)anObject;
+ (instancetype)arrayWithObjects:(const ObjectType _Nonnull[_Nonnull])objects count:(NSUInteger)cnt;
@end

@interface NSMutableArray<ObjectType> : NSArray <ObjectType>
- (void)addObject:(ObjectType)anObject;
- (void)insertObject:(ObjectType)anObject atIndex:(NSUInteger)index;
- (void)removeObject:(ObjectType)anObject;
- (void)removeObjectAtIndex:(NSUInteger)index;
- (void)removeAllObjects;
+ (instancetype)arrayWithCapacity:(NSUInteger)numItems;
@end

@interface NSDictionary<__covariant KeyType, __covariant ObjectType>
    : NSObject <NSCopying, NSMutableCopying, NSFastEnumeration>
@property(readonly) NSUInteger count;
@property(readonly, copy) NSArray<KeyType> *allKeys;
- (nullable ObjectType)objectForKey:(KeyType)aKey;
- (nullable ObjectType)objectForKeyedSubscript:(KeyType)key;
+ (instancetype)dictionary;
+ (instancetype)dictionaryWithObjects:(const ObjectType _Nonnull[_Nullable])objects
                              forKeys:(const KeyType<NSCopying> _Nonnull[_Nullable])keys
                                count:(NSUInteger)cnt;
@end

@interface NSMutableDictionary<KeyType, ObjectType> : NSDictionary <KeyType, ObjectType>
- (void)setObject:(ObjectType)anObject forKey:(KeyType<NSCopying>)aKey;
- (void)setObject:(nullable ObjectType)obj forKeyedSubscript:(KeyType<NSCopying>)key;
- (void)removeObjectForKey:(KeyType)aKey;
@end

// ---------------------------------------------------------------------------------------------
// Errors, URLs
// ---------------------------------------------------------------------------------------------
FOUNDATION_EXPORT NSErrorDomain const NSCocoaErrorDomain;
FOUNDATION_EXPORT NSErrorDomain const NSPOSIXErrorDomain;
FOUNDATION_EXPORT NSErrorUserInfoKey const NSUnderlyingErrorKey;
FOUNDATION_EXPORT NSErrorUserInfoKey const NSLocalizedDescriptionKey;
FOUNDATION_EXPORT NSErrorUserInfoKey const NSLocalizedFailureReasonErrorKey;
FOUNDATION_EXPORT NSErrorUserInfoKey const NSLocalizedRecoverySuggestionErrorKey;

@interface NSError : NSObject <NSCopying>
@property(readonly, copy) NSErrorDomain domain;
@property(readonly) NSInteger code;
@property(readonly, copy) NSDictionary<NSErrorUserInfoKey, id> *userInfo;
@property(readonly, copy) NSString *localizedDescription;
@property(nullable, readonly, copy) NSString *localizedFailureReason;
@property(nullable, readonly, copy) NSString *localizedRecoverySuggestion;
@property(readonly, copy) NSArray<NSError *> *underlyingErrors API_AVAILABLE(macos(11.3));
- (instancetype)initWithDomain:(NSErrorDomain)domain
                          code:(NSInteger)code
                      userInfo:(nullable NSDictionary<NSErrorUserInfoKey, id> *)dict;
+ (instancetype)errorWithDomain:(NSErrorDomain)domain
                           code:(NSInteger)code
                       userInfo:(nullable NSDictionary<NSErrorUserInfoKey, id> *)dict;
@end

@interface NSException : NSObject <NSCopying>
@property(readonly, copy) NSString *name;
@property(nullable, readonly, copy) NSString *reason;
@end

@interface NSURL : NSObject <NSCopying>
@property(nullable, readonly, copy) NSString *absoluteString;
@property(nullable, readonly, copy) NSString *path;
@property(nullable, readonly, copy) NSString *lastPathComponent;
@property(nullable, readonly, copy) NSString *pathExtension;
@property(nullable, readonly, copy) NSURL *URLByDeletingLastPathComponent;
@property(nullable, readonly, copy) NSURL *URLByStandardizingPath;
@property(nullable, readonly, copy) NSURL *URLByResolvingSymlinksInPath;
@property(readonly) const char *fileSystemRepresentation NS_RETURNS_INNER_POINTER;
@property(readonly, getter=isFileURL) BOOL fileURL;
+ (NSURL *)fileURLWithPath:(NSString *)path;
+ (NSURL *)fileURLWithPath:(NSString *)path isDirectory:(BOOL)isDir;
+ (nullable instancetype)URLWithString:(NSString *)URLString;
- (nullable NSURL *)URLByAppendingPathComponent:(NSString *)pathComponent;
- (nullable NSURL *)URLByAppendingPathComponent:(NSString *)pathComponent isDirectory:(BOOL)isDirectory;
- (BOOL)checkResourceIsReachableAndReturnError:(NSError **)error;
@end

// ---------------------------------------------------------------------------------------------
// Key-value observing
// ---------------------------------------------------------------------------------------------
typedef NS_OPTIONS(NSUInteger, NSKeyValueObservingOptions) {
  NSKeyValueObservingOptionNew = 0x01,
  NSKeyValueObservingOptionOld = 0x02,
  NSKeyValueObservingOptionInitial = 0x04,
  NSKeyValueObservingOptionPrior = 0x08
};
FOUNDATION_EXPORT NSKeyValueChangeKey const NSKeyValueChangeNewKey;
FOUNDATION_EXPORT NSKeyValueChangeKey const NSKeyValueChangeOldKey;

@interface NSObject (NSKeyValueObserving)
- (void)observeValueForKeyPath:(nullable NSString *)keyPath
                      ofObject:(nullable id)object
                        change:(nullable NSDictionary<NSKeyValueChangeKey, id> *)change
                       context:(nullable void *)context;
@end
@interface NSObject (NSKeyValueObserverRegistration)
- (void)addObserver:(NSObject *)observer
         forKeyPath:(NSString *)keyPath
            options:(NSKeyValueObservingOptions)options
            context:(nullable void *)context;
- (void)removeObserver:(NSObject *)observer
            forKeyPath:(NSString *)keyPath
               context:(nullable void *)context API_AVAILABLE(macos(10.7));
- (void)removeObserver:(NSObject *)observer forKeyPath:(NSString *)keyPath;
@end

// ---------------------------------------------------------------------------------------------
// Files
// ---------------------------------------------------------------------------------------------
FOUNDATION_EXPORT NSFileAttributeKey const NSFileType;
FOUNDATION_EXPORT NSFileAttributeType const NSFileTypeDirectory;
FOUNDATION_EXPORT NSFileAttributeType const NSFileTypeRegular;
FOUNDATION_EXPORT NSFileAttributeType const NSFileTypeUnknown;
FOUNDATION_EXPORT NSFileAttributeKey const NSFileSize;
FOUNDATION_EXPORT NSFileAttributeKey const NSFilePosixPermissions;
FOUNDATION_EXPORT NSFileAttributeKey const NSFileSystemFreeSize;

typedef NS_ENUM(NSInteger, NSURLRelationship) {
  NSURLRelationshipContains,
  NSURLRelationshipSame,
  NSURLRelationshipOther
} API_AVAILABLE(macos(10.10));

typedef NS_ENUM(NSUInteger, NSSearchPathDirectory) {
  NSLibraryDirectory = 5,
  NSDocumentDirectory = 9,
  NSCachesDirectory = 13,
  NSApplicationSupportDirectory = 14,
  NSItemReplacementDirectory = 99,
};
typedef NS_OPTIONS(NSUInteger, NSSearchPathDomainMask) {
  NSUserDomainMask = 1,
  NSLocalDomainMask = 2,
};
typedef NS_OPTIONS(NSUInteger, NSFileManagerItemReplacementOptions) {
  NSFileManagerItemReplacementUsingNewMetadataOnly = 1UL << 0,
  NSFileManagerItemReplacementWithoutDeletingBackupItem = 1UL << 1
};
typedef NS_OPTIONS(NSUInteger, NSDirectoryEnumerationOptions) {
  NSDirectoryEnumerationSkipsSubdirectoryDescendants = 1UL << 0,
  NSDirectoryEnumerationSkipsPackageDescendants = 1UL << 1,
  NSDirectoryEnumerationSkipsHiddenFiles = 1UL << 2,
};

@interface NSFileManager : NSObject
@property(class, readonly, strong) NSFileManager *defaultManager;
@property(readonly, copy) NSString *currentDirectoryPath;
@property(readonly, copy) NSURL *homeDirectoryForCurrentUser API_AVAILABLE(macos(10.12));
@property(readonly, copy) NSURL *temporaryDirectory API_AVAILABLE(macos(10.12));
- (BOOL)fileExistsAtPath:(NSString *)path;
- (BOOL)fileExistsAtPath:(NSString *)path isDirectory:(nullable BOOL *)isDirectory;
- (BOOL)isReadableFileAtPath:(NSString *)path;
- (BOOL)isWritableFileAtPath:(NSString *)path;
- (BOOL)isExecutableFileAtPath:(NSString *)path;
- (BOOL)isDeletableFileAtPath:(NSString *)path;
- (nullable NSData *)contentsAtPath:(NSString *)path;
- (BOOL)createFileAtPath:(NSString *)path
                contents:(nullable NSData *)data
              attributes:(nullable NSDictionary<NSFileAttributeKey, id> *)attr;
- (BOOL)createDirectoryAtPath:(NSString *)path
  withIntermediateDirectories:(BOOL)createIntermediates
                   attributes:(nullable NSDictionary<NSFileAttributeKey, id> *)attributes
                        error:(NSError **)error;
- (BOOL)createDirectoryAtURL:(NSURL *)url
    withIntermediateDirectories:(BOOL)createIntermediates
                     attributes:(nullable NSDictionary<NSFileAttributeKey, id> *)attributes
                          error:(NSError **)error;
- (BOOL)createSymbolicLinkAtPath:(NSString *)path
             withDestinationPath:(NSString *)destPath
                           error:(NSError **)error;
- (nullable NSString *)destinationOfSymbolicLinkAtPath:(NSString *)path error:(NSError **)error;
- (nullable NSArray<NSString *> *)contentsOfDirectoryAtPath:(NSString *)path error:(NSError **)error;
- (nullable NSArray<NSURL *> *)contentsOfDirectoryAtURL:(NSURL *)url
                             includingPropertiesForKeys:(nullable NSArray<NSURLResourceKey> *)keys
                                                options:(NSDirectoryEnumerationOptions)mask
                                                  error:(NSError **)error;
- (nullable NSDictionary<NSFileAttributeKey, id> *)attributesOfItemAtPath:(NSString *)path
                                                                    error:(NSError **)error;
- (nullable NSDictionary<NSFileAttributeKey, id> *)attributesOfFileSystemForPath:(NSString *)path
                                                                           error:(NSError **)error;
- (BOOL)setAttributes:(NSDictionary<NSFileAttributeKey, id> *)attributes
         ofItemAtPath:(NSString *)path
                error:(NSError **)error;
- (BOOL)copyItemAtPath:(NSString *)srcPath toPath:(NSString *)dstPath error:(NSError **)error;
- (BOOL)moveItemAtPath:(NSString *)srcPath toPath:(NSString *)dstPath error:(NSError **)error;
- (BOOL)linkItemAtPath:(NSString *)srcPath toPath:(NSString *)dstPath error:(NSError **)error;
- (BOOL)removeItemAtPath:(NSString *)path error:(NSError **)error;
- (BOOL)copyItemAtURL:(NSURL *)srcURL toURL:(NSURL *)dstURL error:(NSError **)error;
- (BOOL)moveItemAtURL:(NSURL *)srcURL toURL:(NSURL *)dstURL error:(NSError **)error;
- (BOOL)linkItemAtURL:(NSURL *)srcURL toURL:(NSURL *)dstURL error:(NSError **)error;
- (BOOL)removeItemAtURL:(NSURL *)URL error:(NSError **)error;
- (BOOL)getRelationship:(NSURLRelationship *)outRelationship
       ofDirectoryAtURL:(NSURL *)directoryURL
            toItemAtURL:(NSURL *)otherURL
                  error:(NSError **)error API_AVAILABLE(macos(10.10));
- (BOOL)replaceItemAtURL:(NSURL *)originalItemURL
           withItemAtURL:(NSURL *)newItemURL
          backupItemName:(nullable NSString *)backupItemName
                 options:(NSFileManagerItemReplacementOptions)options
        resultingItemURL:(NSURL *_Nullable *_Nullable)resultingURL
                   error:(NSError **)error;
- (nullable NSURL *)URLForDirectory:(NSSearchPathDirectory)directory
                           inDomain:(NSSearchPathDomainMask)domain
                  appropriateForURL:(nullable NSURL *)url
                             create:(BOOL)shouldCreate
                              error:(NSError **)error;
- (NSArray<NSURL *> *)URLsForDirectory:(NSSearchPathDirectory)directory
                             inDomains:(NSSearchPathDomainMask)domainMask;
@end

@interface NSFileHandle : NSObject
@property(readonly, copy) NSData *availableData;
@property(class, readonly, strong) NSFileHandle *fileHandleWithStandardInput;
@property(class, readonly, strong) NSFileHandle *fileHandleWithStandardOutput;
@property(class, readonly, strong) NSFileHandle *fileHandleWithStandardError;
@property(class, readonly, strong) NSFileHandle *fileHandleWithNullDevice;
@property(nullable, copy) void (^readabilityHandler)(NSFileHandle *);
@property(nullable, copy) void (^writeabilityHandler)(NSFileHandle *);
@property(readonly) int fileDescriptor;
- (instancetype)initWithFileDescriptor:(int)fd;
- (instancetype)initWithFileDescriptor:(int)fd closeOnDealloc:(BOOL)closeopt;
+ (nullable instancetype)fileHandleForReadingAtPath:(NSString *)path;
+ (nullable instancetype)fileHandleForWritingAtPath:(NSString *)path;
+ (nullable instancetype)fileHandleForUpdatingAtPath:(NSString *)path;
+ (nullable instancetype)fileHandleForReadingFromURL:(NSURL *)url error:(NSError **)error;
+ (nullable instancetype)fileHandleForWritingToURL:(NSURL *)url error:(NSError **)error;
+ (nullable instancetype)fileHandleForUpdatingURL:(NSURL *)url error:(NSError **)error;
- (nullable NSData *)readDataToEndOfFileAndReturnError:(out NSError **)error API_AVAILABLE(macos(10.15));
- (nullable NSData *)readDataUpToLength:(NSUInteger)length
                                  error:(out NSError **)error API_AVAILABLE(macos(10.15));
- (BOOL)writeData:(NSData *)data error:(out NSError **)error API_AVAILABLE(macos(10.15));
- (BOOL)seekToEndReturningOffset:(out unsigned long long *_Nullable)offsetInFile
                           error:(out NSError **)error API_AVAILABLE(macos(10.15));
- (BOOL)seekToOffset:(unsigned long long)offset error:(out NSError **)error API_AVAILABLE(macos(10.15));
- (BOOL)truncateAtOffset:(unsigned long long)offset
                   error:(out NSError **)error API_AVAILABLE(macos(10.15));
- (BOOL)synchronizeAndReturnError:(out NSError **)error API_AVAILABLE(macos(10.15));
- (BOOL)closeAndReturnError:(out NSError **)error API_AVAILABLE(macos(10.15));
// Deprecated forms that RAISE an Objective-C exception on failure. Prefer the error: forms above.
- (void)writeData:(NSData *)data;
- (NSData *)readDataToEndOfFile;
- (void)truncateFileAtOffset:(unsigned long long)offset;
- (void)closeFile;
@end

@interface NSPipe : NSObject
@property(readonly, retain) NSFileHandle *fileHandleForReading;
@property(readonly, retain) NSFileHandle *fileHandleForWriting;
+ (NSPipe *)pipe;
@end

// ---------------------------------------------------------------------------------------------
// Process, task, progress
// ---------------------------------------------------------------------------------------------
typedef NS_OPTIONS(uint64_t, NSActivityOptions) {
  NSActivityIdleDisplaySleepDisabled = (1ULL << 40),
  NSActivityIdleSystemSleepDisabled = (1ULL << 20),
  NSActivitySuddenTerminationDisabled = (1ULL << 14),
  NSActivityAutomaticTerminationDisabled = (1ULL << 15),
  NSActivityUserInitiated = (0x00FFFFFFULL | NSActivityIdleSystemSleepDisabled),
  NSActivityBackground = 0x000000FFULL,
};

@interface NSProcessInfo : NSObject
@property(class, readonly, strong) NSProcessInfo *processInfo;
@property(readonly, copy) NSDictionary<NSString *, NSString *> *environment;
@property(readonly, copy) NSArray<NSString *> *arguments;
@property(copy) NSString *processName;
@property(readonly) int processIdentifier;
@property(readonly, copy) NSString *operatingSystemVersionString;
@property(readonly) NSOperatingSystemVersion operatingSystemVersion;
@property(readonly) NSUInteger processorCount;
@property(readonly) NSUInteger activeProcessorCount;
@property(readonly) unsigned long long physicalMemory;
@property(readonly) NSTimeInterval systemUptime;
@property BOOL automaticTerminationSupportEnabled;
- (BOOL)isOperatingSystemAtLeastVersion:(NSOperatingSystemVersion)version;
- (void)disableSuddenTermination;
- (void)enableSuddenTermination;
- (void)disableAutomaticTermination:(NSString *)reason;
- (void)enableAutomaticTermination:(NSString *)reason;
- (id<NSObject>)beginActivityWithOptions:(NSActivityOptions)options reason:(NSString *)reason;
- (void)endActivity:(id<NSObject>)activity;
@end

typedef NS_ENUM(NSInteger, NSTaskTerminationReason) {
  NSTaskTerminationReasonExit = 1,
  NSTaskTerminationReasonUncaughtSignal = 2
};

@interface NSTask : NSObject
- (instancetype)init NS_DESIGNATED_INITIALIZER;
@property(nullable, copy) NSURL *executableURL API_AVAILABLE(macos(10.13));
@property(nullable, copy) NSArray<NSString *> *arguments;
@property(nullable, copy) NSDictionary<NSString *, NSString *> *environment;
@property(nullable, copy) NSURL *currentDirectoryURL API_AVAILABLE(macos(10.13));
@property(nullable, retain) id standardInput;   // NSFileHandle or NSPipe
@property(nullable, retain) id standardOutput;  // NSFileHandle or NSPipe
@property(nullable, retain) id standardError;   // NSFileHandle or NSPipe
@property(readonly) int processIdentifier;
@property(readonly, getter=isRunning) BOOL running;
@property(readonly) int terminationStatus;
@property(readonly) NSTaskTerminationReason terminationReason;
@property(nullable, copy) void (^terminationHandler)(NSTask *);
- (BOOL)launchAndReturnError:(out NSError **_Nullable)error API_AVAILABLE(macos(10.13));
- (void)interrupt;
- (void)terminate;
- (void)waitUntilExit;
@end

@interface NSProgress : NSObject
@property int64_t totalUnitCount;
@property int64_t completedUnitCount;
@property(readonly) double fractionCompleted;
@property(readonly, getter=isFinished) BOOL finished;
@property(readonly, getter=isCancelled) BOOL cancelled;
@property(readonly, getter=isIndeterminate) BOOL indeterminate;
@property(getter=isCancellable) BOOL cancellable;
- (void)cancel;
@end

// ---------------------------------------------------------------------------------------------
// Run loop, timer, thread, notifications, bundle
// ---------------------------------------------------------------------------------------------
FOUNDATION_EXPORT NSRunLoopMode const NSDefaultRunLoopMode;
FOUNDATION_EXPORT NSRunLoopMode const NSRunLoopCommonModes;

@interface NSRunLoop : NSObject
@property(class, readonly, strong) NSRunLoop *currentRunLoop;
@property(class, readonly, strong) NSRunLoop *mainRunLoop;
- (void)run;
- (void)runUntilDate:(NSDate *)limitDate;
- (BOOL)runMode:(NSRunLoopMode)mode beforeDate:(NSDate *)limitDate;
- (void)addTimer:(NSTimer *)timer forMode:(NSRunLoopMode)mode;
- (void)performBlock:(void (^)(void))block API_AVAILABLE(macos(10.12));
@end

@interface NSTimer : NSObject
+ (NSTimer *)timerWithTimeInterval:(NSTimeInterval)interval
                           repeats:(BOOL)repeats
                             block:(void (^)(NSTimer *timer))block API_AVAILABLE(macos(10.12));
+ (NSTimer *)scheduledTimerWithTimeInterval:(NSTimeInterval)interval
                                    repeats:(BOOL)repeats
                                      block:(void (^)(NSTimer *timer))block API_AVAILABLE(macos(10.12));
@property(readonly, getter=isValid) BOOL valid;
- (void)invalidate;
@end

@interface NSThread : NSObject
@property(class, readonly) BOOL isMainThread;
@property(class, readonly, strong) NSThread *mainThread;
@property(class, readonly, strong) NSThread *currentThread;
+ (void)sleepForTimeInterval:(NSTimeInterval)ti;
@end

@interface NSNotification : NSObject <NSCopying>
@property(readonly, copy) NSNotificationName name;
@property(nullable, readonly, retain) id object;
@property(nullable, readonly, copy) NSDictionary *userInfo;
@end

@interface NSNotificationCenter : NSObject
@property(class, readonly, strong) NSNotificationCenter *defaultCenter;
- (void)addObserver:(id)observer
           selector:(SEL)aSelector
               name:(nullable NSNotificationName)aName
             object:(nullable id)anObject;
- (id<NSObject>)addObserverForName:(nullable NSNotificationName)name
                            object:(nullable id)obj
                             queue:(nullable NSOperationQueue *)queue
                        usingBlock:(void (^)(NSNotification *notification))block;
- (void)removeObserver:(id)observer;
@end

@interface NSBundle : NSObject
@property(class, readonly, strong) NSBundle *mainBundle;
@property(readonly, copy) NSString *bundlePath;
@property(nullable, readonly, copy) NSString *bundleIdentifier;
@property(nullable, readonly, copy) NSString *executablePath;
@property(nullable, readonly, copy) NSString *resourcePath;
@property(nullable, readonly, copy) NSDictionary<NSString *, id> *infoDictionary;
- (nullable id)objectForInfoDictionaryKey:(NSString *)key;
- (nullable NSString *)pathForResource:(nullable NSString *)name ofType:(nullable NSString *)ext;
@end

@interface NSUUID : NSObject <NSCopying>
@property(readonly, copy) NSString *UUIDString;
+ (instancetype)UUID;
- (nullable instancetype)initWithUUIDString:(NSString *)string;
@end

NS_ASSUME_NONNULL_END
