#import "platform/macos/files.h"

#import <Foundation/Foundation.h>
#include <stdlib.h>

#include <cerrno>

#import "platform/macos/bridge.h"
#import "platform/macos/objc_file_kinds.h"

namespace parlen::macos {
namespace {

using platform::Result;

NSFileManager* manager() { return NSFileManager.defaultManager; }

NSString* parentOf(const std::string& path) {
  return toPath(path).stringByDeletingLastPathComponent;
}

/// By identity, so that a path through a link is seen through. A parent that is missing is outside:
/// the copy itself says so.
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

// Not Foundation's own resolution: that never fails, and leaves a leading "/private" out.
std::optional<std::string> Files::canonicalPath(const std::string& path) const {
  char* resolved = realpath(path.c_str(), nullptr);
  if (resolved == nullptr) return std::nullopt;
  std::string canonical = resolved;
  free(resolved);
  return canonical;
}

Result<std::uint64_t> Files::length(const std::string& path) const {
  // The attributes are those of the item itself, also of a link.
  const std::string target = canonicalPath(path).value_or(path);
  NSError* error = nil;
  NSDictionary<NSFileAttributeKey, id>* attributes =
      [manager() attributesOfItemAtPath:toPath(target) error:&error];
  if (attributes == nil) return failure(error);
  return [static_cast<NSNumber*>(attributes[NSFileSize]) unsignedLongLongValue];
}

Result<> Files::createDirectories(const std::string& path) {
  NSError* error = nil;
  // With intermediate directories, one that is there already is a success.
  if (![manager() createDirectoryAtPath:toPath(path)
            withIntermediateDirectories:YES
                             attributes:nil
                                  error:&error]) {
    return failure(error);
  }
  return {};
}

void Files::createEmptyFile(const std::string& path) {
  [manager() createFileAtPath:toPath(path) contents:nil attributes:nil];
}

Result<> Files::copyDirectory(const std::string& from, const std::string& to) {
  // A copy into itself would find ever more to copy.
  if (liesInside(from, parentOf(to))) return unfit(to, EINVAL, "it lies inside " + from);
  // The file manager copies a link as a link, at the top as well as inside.
  const std::string source = canonicalPath(from).value_or(from);
  NSError* error = nil;
  if (![manager() copyItemAtURL:toFileUrl(source) toURL:toFileUrl(to) error:&error]) {
    return failure(error);
  }
  return {};
}

Result<> Files::removeFile(const std::string& path) {
  // The file manager would remove a directory with all that is in it; a link to one is a link.
  if (isDirectory(path) && !isSymbolicLink(path)) return unfit(path, EISDIR, "it is a directory");
  NSError* error = nil;
  if (![manager() removeItemAtURL:toFileUrl(path) error:&error]) return failure(error);
  return {};
}

}  // namespace parlen::macos
