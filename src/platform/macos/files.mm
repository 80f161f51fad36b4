#import "platform/macos/files.h"

#import <Foundation/Foundation.h>
#include <stdlib.h>

#include <cerrno>

#import "platform/macos/bridge.h"

namespace parlen::macos {
namespace {

using platform::Result;

NSFileManager* manager() { return NSFileManager.defaultManager; }

std::string couldNotUse(const std::string& path, std::string_view reason) {
  std::string sentence = "could not use ";
  sentence.append(path).append(": ").append(reason);
  return sentence;
}

/// The attributes of what is at `path`, links followed.
Result<NSDictionary<NSFileAttributeKey, id>*> attributesOf(const std::string& path) {
  // Apple's NSFileManager page: attributesOfItemAtPath:error: does not follow a final link.
  const std::string target = Files().canonicalPath(path).value_or(path);
  NSError* error = nil;
  NSDictionary<NSFileAttributeKey, id>* attributes =
      [manager() attributesOfItemAtPath:toPath(target) error:&error];
  if (attributes == nil) return macos::error(error);
  return attributes;
}

/// What is at `path`, links followed: one of the NSFileType constants.
Result<NSFileAttributeType> typeOf(const std::string& path) {
  const auto attributes = attributesOf(path);
  if (!attributes) return std::unexpected(attributes.error());
  return static_cast<NSFileAttributeType>((*attributes)[NSFileType]);
}

/// An error unless a regular file is at `path`, links followed.
Result<> requireRegular(const std::string& path) {
  const auto type = typeOf(path);
  if (!type) return std::unexpected(type.error());
  if (![*type isEqualToString:NSFileTypeRegular])
    return macos::error(EINVAL, couldNotUse(path, "it is not a file"));
  return {};
}

/// An error for a FIFO, which would block the caller that opens it. A missing item is no error.
Result<> rejectFifo(const std::string& path) {
  const auto type = typeOf(path);
  // NSFileType has a constant for every type but the FIFO's.
  if (type && [*type isEqualToString:NSFileTypeUnknown])
    return macos::error(EINVAL, couldNotUse(path, "it is a FIFO"));
  return {};
}

/// Opens an existing file; neither creates nor truncates it.
Result<NSFileHandle*> openForWriting(const std::string& path) {
  NSError* error = nil;
  NSFileHandle* handle = [NSFileHandle fileHandleForWritingToURL:toFileUrl(path) error:&error];
  if (handle == nil) return macos::error(error);
  return handle;
}

Result<> close(NSFileHandle* handle) {
  NSError* error = nil;
  if (![handle closeAndReturnError:&error]) return macos::error(error);
  return {};
}

class AppendingFile final : public platform::AppendingFile {
 public:
  explicit AppendingFile(NSFileHandle* handle) : handle_(handle) {}

  void append(std::string_view bytes) override {
    [handle_ seekToEndReturningOffset:nil error:nil];
    [handle_ writeData:toData(bytes) error:nil];
  }

 private:
  NSFileHandle* handle_;
};

NSString* parentOf(const std::string& path) {
  return toPath(path).stringByDeletingLastPathComponent;
}

/// Compares the items, not the paths, so links do not matter. False for a missing parent; the copy
/// itself reports that.
bool liesInside(const std::string& directory, NSString* parent) {
  NSURLRelationship relationship = NSURLRelationshipOther;
  const BOOL known = [manager() getRelationship:&relationship
                               ofDirectoryAtURL:toFileUrl(directory)
                                    toItemAtURL:[NSURL fileURLWithPath:parent]
                                          error:nil];
  return known && relationship != NSURLRelationshipOther;
}

}  // namespace

std::string Files::currentDirectory() const { return fromText(manager().currentDirectoryPath); }

bool Files::exists(const std::string& path) const {
  return [manager() fileExistsAtPath:toPath(path)];
}

bool Files::isDirectory(const std::string& path) const {
  BOOL directory = NO;
  return [manager() fileExistsAtPath:toPath(path) isDirectory:&directory] && directory;
}

bool Files::isSymbolicLink(const std::string& path) const {
  return [manager() destinationOfSymbolicLinkAtPath:toPath(path) error:nil] != nil;
}

// Not NSURL's URLByResolvingSymlinksInPath, which never fails and removes a leading "/private".
std::optional<std::string> Files::canonicalPath(const std::string& path) const {
  char* resolved = realpath(path.c_str(), nullptr);
  if (resolved == nullptr) return std::nullopt;
  std::string canonical = resolved;
  free(resolved);
  return canonical;
}

Result<std::uint64_t> Files::length(const std::string& path) const {
  const auto attributes = attributesOf(path);
  if (!attributes) return std::unexpected(attributes.error());
  return [static_cast<NSNumber*>((*attributes)[NSFileSize]) unsignedLongLongValue];
}

Result<std::string> Files::read(const std::string& path) const {
  if (const auto regular = requireRegular(path); !regular) return std::unexpected(regular.error());
  NSError* error = nil;
  NSData* content = [NSData dataWithContentsOfURL:toFileUrl(path) options:0 error:&error];
  if (content == nil) return macos::error(error);
  return fromData(content);
}

Result<std::string> Files::readStart(const std::string& path, std::size_t max) const {
  if (const auto regular = requireRegular(path); !regular) return std::unexpected(regular.error());
  NSError* error = nil;
  NSFileHandle* handle = [NSFileHandle fileHandleForReadingFromURL:toFileUrl(path) error:&error];
  if (handle == nil) return macos::error(error);
  NSData* start = [handle readDataUpToLength:max error:&error];
  if (start == nil) return macos::error(error);
  return fromData(start);
}

Result<> Files::write(const std::string& path, std::string_view bytes) {
  if (const auto usable = rejectFifo(path); !usable) return usable;
  NSError* error = nil;
  // Without NSDataWritingAtomic the file is truncated and written in place.
  if (![toData(bytes) writeToURL:toFileUrl(path) options:0 error:&error])
    return macos::error(error);
  return {};
}

Result<> Files::writeStart(const std::string& path, std::string_view bytes) {
  if (const auto regular = requireRegular(path); !regular) return regular;
  const auto handle = openForWriting(path);
  if (!handle) return std::unexpected(handle.error());
  NSError* error = nil;
  if (![*handle writeData:toData(bytes) error:&error]) return macos::error(error);
  return close(*handle);
}

Result<std::unique_ptr<platform::AppendingFile>> Files::createForAppending(
    const std::string& path) {
  if (const auto created = write(path, ""); !created) return std::unexpected(created.error());
  const auto handle = openForWriting(path);
  if (!handle) return std::unexpected(handle.error());
  return std::make_unique<AppendingFile>(*handle);
}

Result<> Files::createDirectories(const std::string& path) {
  NSError* error = nil;
  // With intermediate directories, an existing directory is a success.
  if (![manager() createDirectoryAtPath:toPath(path)
            withIntermediateDirectories:YES
                             attributes:nil
                                  error:&error]) {
    return macos::error(error);
  }
  return {};
}

void Files::createEmptyFile(const std::string& path) {
  [manager() createFileAtPath:toPath(path) contents:nil attributes:nil];
}

Result<> Files::setLength(const std::string& path, std::uint64_t length) {
  if (const auto regular = requireRegular(path); !regular) return regular;
  const auto handle = openForWriting(path);
  if (!handle) return std::unexpected(handle.error());
  NSError* error = nil;
  if (![*handle truncateAtOffset:length error:&error]) return macos::error(error);
  return close(*handle);
}

Result<> Files::copyDirectory(const std::string& from, const std::string& to) {
  // A copy into itself would never end.
  if (liesInside(from, parentOf(to)))
    return macos::error(EINVAL, couldNotUse(to, "it lies inside " + from));
  // copyItemAtURL: copies a link as a link, also when `from` itself is one.
  const std::string source = canonicalPath(from).value_or(from);
  NSError* error = nil;
  if (![manager() copyItemAtURL:toFileUrl(source) toURL:toFileUrl(to) error:&error]) {
    return macos::error(error);
  }
  return {};
}

Result<> Files::removeFile(const std::string& path) {
  // removeItemAtURL: would remove a directory with its contents; of a link it removes the link.
  if (isDirectory(path) && !isSymbolicLink(path))
    return macos::error(EISDIR, couldNotUse(path, "it is a directory"));
  NSError* error = nil;
  if (![manager() removeItemAtURL:toFileUrl(path) error:&error]) return macos::error(error);
  return {};
}

}  // namespace parlen::macos
