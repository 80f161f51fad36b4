// What GNUstep's Foundation 1.28 lacks of what the program calls, or does in another way than
// Apple's pages of NSFileHandle, NSFileManager, NSTask and NSError have it.
//
// It cannot show Foundation's error sentences and codes: a Mac's differ.
#import <Foundation/Foundation.h>
#include <errno.h>
#include <limits.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "copying.h"

namespace {

NSError* posixError(int code, NSString* path = nil) {
  NSString* reason = @(strerror(code));
  NSString* sentence = path != nil ? [NSString stringWithFormat:@"%@: %@", path, reason] : reason;
  return [NSError errorWithDomain:NSPOSIXErrorDomain
                             code:code
                         userInfo:@{NSLocalizedDescriptionKey : sentence}];
}

/// Stores the error where the caller wants one; returns NO.
BOOL fail(NSError* __autoreleasing* error, NSError* what) {
  if (error != nullptr) *error = what;
  return NO;
}

bool statusOf(NSURL* url, struct stat& status) {
  return stat(url.path.fileSystemRepresentation, &status) == 0;
}

/// Returns an errno value. With `parents`, a directory that is there is a success.
int makeDirectory(const std::string& path, BOOL parents) {
  struct stat there{};
  if (mkdir(path.c_str(), 0777) == 0) return 0;
  const int code = errno;
  const size_t slash = path.rfind('/');
  if (!parents) return code;
  if (code == EEXIST) return stat(path.c_str(), &there) == 0 && S_ISDIR(there.st_mode) ? 0 : code;
  if (code != ENOENT || slash == std::string::npos || slash == 0) return code;
  if (const int above = makeDirectory(path.substr(0, slash), parents)) return above;
  return makeDirectory(path, parents);
}

bool isSame(const struct stat& one, const struct stat& other) {
  return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

}  // namespace

@interface GSFileHandle : NSFileHandle
@end

@implementation GSFileHandle (MacOS)

- (BOOL)writeData:(NSData*)data error:(NSError**)error {
  // GNUstep's file handles ignore the broken-pipe signal for the whole process; Apple's do not.
  static const bool restored = (signal(SIGPIPE, SIG_DFL), true);
  (void)restored;
  const auto* bytes = static_cast<const char*>(data.bytes);
  for (size_t left = data.length; left > 0;) {
    const ssize_t count = write(self.fileDescriptor, bytes, left);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return fail(error, posixError(errno));
    bytes += count;
    left -= static_cast<size_t>(count);
  }
  return YES;
}

- (BOOL)closeAndReturnError:(NSError**)error {
  [self closeFile];
  return YES;
}

- (BOOL)truncateAtOffset:(unsigned long long)offset error:(NSError**)error {
  if (ftruncate(self.fileDescriptor, static_cast<off_t>(offset)) == 0) return YES;
  return fail(error, posixError(errno));
}

- (BOOL)seekToEndReturningOffset:(unsigned long long*)offset error:(NSError**)error {
  const off_t end = lseek(self.fileDescriptor, 0, SEEK_END);
  if (end < 0) return fail(error, posixError(errno));
  if (offset != nullptr) *offset = static_cast<unsigned long long>(end);
  return YES;
}

- (NSData*)readDataUpToLength:(NSUInteger)length error:(NSError**)error {
  NSMutableData* data = [NSMutableData dataWithLength:length];
  size_t have = 0;
  while (have < length) {
    const ssize_t count =
        read(self.fileDescriptor, static_cast<char*>(data.mutableBytes) + have, length - have);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) {
      fail(error, posixError(errno));
      return nil;
    }
    if (count == 0) break;
    have += static_cast<size_t>(count);
  }
  data.length = have;
  return data;
}

@end

@implementation NSData (MacOS)

+ (instancetype)dataWithContentsOfURL:(NSURL*)url
                              options:(NSUInteger)options
                                error:(NSError**)error {
  NSData* data = [self dataWithContentsOfFile:url.path];
  if (data == nil) fail(error, posixError(errno != 0 ? errno : EIO, url.path));
  return data;
}

@end

@implementation NSFileManager (MacOS)

- (NSString*)destinationOfSymbolicLinkAtPath:(NSString*)path error:(NSError**)error {
  NSString* destination = [self pathContentOfSymbolicLinkAtPath:path];
  if (destination == nil) fail(error, posixError(EINVAL, path));
  return destination;
}

// NSURLRelationship: 0 contains, 1 same, 2 other.
- (BOOL)getRelationship:(NSInteger*)relationship
       ofDirectoryAtURL:(NSURL*)directory
            toItemAtURL:(NSURL*)item
                  error:(NSError**)error {
  struct stat above{};
  struct stat here{};
  char resolved[PATH_MAX];
  if (!statusOf(directory, above) || !statusOf(item, here) ||
      realpath(item.path.fileSystemRepresentation, resolved) == nullptr)
    return fail(error, posixError(errno));
  *relationship = isSame(above, here) ? 1 : 2;
  for (NSString* at = @(resolved); *relationship == 2 && at.length > 1;) {
    at = at.stringByDeletingLastPathComponent;
    if (stat(at.fileSystemRepresentation, &here) == 0 && isSame(above, here)) *relationship = 0;
  }
  return YES;
}

// GNUstep's own takes a file for the directory that is wanted.
- (BOOL)createDirectoryAtPath:(NSString*)path
    withIntermediateDirectories:(BOOL)parents
                     attributes:(NSDictionary*)attributes
                          error:(NSError**)error {
  const int code = makeDirectory(path.fileSystemRepresentation, parents);
  return code == 0 ? YES : fail(error, posixError(code, path));
}

// GNUstep's own copies byte by byte, without holes: a large disk would fill this machine.
- (BOOL)copyItemAtURL:(NSURL*)from toURL:(NSURL*)to error:(NSError**)error {
  const int code = parlen::harness::copyItem(from.path.fileSystemRepresentation,
                                             to.path.fileSystemRepresentation);
  return code == 0 ? YES : fail(error, posixError(code, to.path));
}

@end

@implementation NSTask (MacOS)

- (void)setExecutableURL:(NSURL*)url {
  self.launchPath = url.path;
}

- (NSURL*)executableURL {
  return [NSURL fileURLWithPath:self.launchPath];
}

- (BOOL)launchAndReturnError:(NSError**)error {
  if (access(self.launchPath.fileSystemRepresentation, X_OK) != 0)
    return fail(error, posixError(errno, self.launchPath));
  @try {
    [self launch];
  } @catch (NSException* exception) {
    constexpr NSInteger noSuchFile = 4;  // NSFileNoSuchFileError
    return fail(error, [NSError errorWithDomain:NSCocoaErrorDomain
                                           code:noSuchFile
                                       userInfo:@{NSLocalizedDescriptionKey : exception.reason}]);
  }
  return YES;
}

@end

@implementation NSError (MacOS)

- (NSArray*)underlyingErrors {
  id underlying = self.userInfo[NSUnderlyingErrorKey];
  return underlying != nil ? @[ underlying ] : @[];
}

@end

@implementation NSObject (MacOSKeyValueObserving)

- (void)removeObserver:(NSObject*)observer forKeyPath:(NSString*)path context:(void*)context {
  [self removeObserver:observer forKeyPath:path];
}

@end
