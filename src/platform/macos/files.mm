#import "platform/macos/files.h"

#import <Foundation/Foundation.h>
#include <copyfile.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

#import "platform/macos/bridge.h"
#include "platform/posix/directory_lock.h"
#include "platform/posix/files.h"

namespace parlen::macos {
namespace {

using platform::Result;

NSFileManager* manager() { return NSFileManager.defaultManager; }

std::string couldNotUse(const std::string& path, std::string_view reason) {
  std::string sentence = "could not use ";
  sentence.append(path).append(": ").append(reason);
  return sentence;
}

/// This host's own error for an errno value.
std::unexpected<platform::PlatformError> failed(const std::string& path, int code) {
  return macos::error(code, couldNotUse(path, strerror(code)));
}

/// The attributes of what is at `path`, links followed.
Result<NSDictionary<NSFileAttributeKey, id>*> attributesOf(const std::string& path) {
  // Apple's NSFileManager page: attributesOfItemAtPath:error: does not follow a final link.
  const auto target = Files().canonicalPath(path);
  if (!target) return failed(path, errno);
  NSError* error = nil;
  NSDictionary<NSFileAttributeKey, id>* attributes =
      [manager() attributesOfItemAtPath:toPath(*target) error:&error];
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

/// Compares the items, not the paths, so links do not matter. False for a missing item; the copy
/// itself reports that.
bool liesInside(const std::string& directory, const std::string& item) {
  NSURLRelationship relationship = NSURLRelationshipOther;
  const BOOL known = [manager() getRelationship:&relationship
                               ofDirectoryAtURL:toFileUrl(directory)
                                    toItemAtURL:toFileUrl(item)
                                          error:nil];
  return known && relationship != NSURLRelationshipOther;
}

/// The names in `directory`; those that `last` names come after all others, in its order.
Result<std::vector<std::string>> membersOf(const std::string& directory,
                                           std::span<const std::string_view> last) {
  NSError* error = nil;
  NSArray<NSString*>* names = [manager() contentsOfDirectoryAtPath:toPath(directory) error:&error];
  if (names == nil) return macos::error(error);
  std::vector<std::string> members;
  for (NSString* name in names) members.push_back(fromText(name));
  for (const std::string_view name : last) {
    const auto found = std::ranges::find(members, name);
    if (found != members.end()) std::rotate(found, found + 1, members.end());
  }
  return members;
}

/// The path of a FIFO, a socket or a device in the tree; empty if there is none. Follows no links.
std::string specialFileIn(const std::string& directory) {
  namespace fs = std::filesystem;
  std::error_code unreadable;  // ends the search; the copy itself reports that
  for (fs::recursive_directory_iterator at(directory, unreadable), end; at != end;
       at.increment(unreadable)) {
    std::error_code gone;
    if (fs::is_other(at->symlink_status(gone))) return at->path().string();
  }
  return {};
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

Result<> Files::create(const std::string& path, std::string_view bytes) {
  // Not NSData's option to not overwrite, whose page leaves links open.
  posix::Descriptor file = posix::openNew(path);
  if (!file) return failed(path, errno);
  if (const int code = posix::writeAndClose(std::move(file), bytes)) return failed(path, code);
  return {};
}

Result<> Files::replace(const std::string& path, std::string_view bytes) {
  struct stat before{};
  const bool exists = lstat(path.c_str(), &before) == 0;
  if (exists && S_ISDIR(before.st_mode))
    return macos::error(EISDIR, couldNotUse(path, "it is a directory"));
  if (exists) {
    if (const auto removed = remove(path); !removed) return removed;
  }
  const auto created = create(path, bytes);
  if (created && exists && S_ISREG(before.st_mode)) {
    constexpr mode_t modeBits = 0777;
    // Only root may give files away.
    [[maybe_unused]] const int owned = lchown(path.c_str(), before.st_uid, before.st_gid);
    [[maybe_unused]] const int changed = chmod(path.c_str(), before.st_mode & modeBits);
  }
  return created;
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
  auto file = posix::createForAppending(path);
  if (!file) return failed(path, file.error());
  return *std::move(file);
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

Result<> Files::createDirectory(const std::string& path) {
  NSError* error = nil;
  // Without intermediate directories, an existing directory is an error.
  if (![manager() createDirectoryAtPath:toPath(path)
            withIntermediateDirectories:NO
                             attributes:nil
                                  error:&error]) {
    return macos::error(error);
  }
  return {};
}

Result<std::unique_ptr<platform::DirectoryLock>> Files::lockDirectory(const std::string& path,
                                                                      platform::LockKind kind) {
  auto lock = posix::lockDirectory(path, kind);
  if (!lock) return failed(path, lock.error());
  return *std::move(lock);
}

Result<> Files::setLength(const std::string& path, std::uint64_t length) {
  if (const auto regular = requireRegular(path); !regular) return regular;
  const auto handle = openForWriting(path);
  if (!handle) return std::unexpected(handle.error());
  NSError* error = nil;
  if (![*handle truncateAtOffset:length error:&error]) return macos::error(error);
  return close(*handle);
}

// One copy of the whole tree would have no order, so each member is copied by itself. A file shares
// its storage with the original all the same (copyItemAtURL: clones on APFS).
Result<> Files::copyDirectory(const std::string& from, const std::string& to,
                              std::span<const std::string_view> last) {
  // A copy into itself would never end.
  if (liesInside(from, to)) return macos::error(EINVAL, couldNotUse(to, "it lies inside " + from));
  const std::string source = canonicalPath(from).value_or(from);
  // copyfile(3): ENOTSUP for all but files, directories and links. Foundation's sentence for it
  // need not name the file.
  if (const std::string special = specialFileIn(source); !special.empty()) {
    return macos::error(ENOTSUP,
                        couldNotUse(special, "a FIFO, a socket or a device cannot be copied"));
  }
  const auto members = membersOf(source, last);
  if (!members) return std::unexpected(members.error());
  for (const std::string& name : *members) {
    NSError* error = nil;
    if (![manager() copyItemAtURL:toFileUrl(source + "/" + name)
                            toURL:toFileUrl(to + "/" + name)
                            error:&error]) {
      return macos::error(error);
    }
  }
  // copyfile(3): the mode, the times, the access list and the extended attributes.
  if (copyfile(source.c_str(), to.c_str(), nullptr, COPYFILE_METADATA) == 0) return {};
  return failed(to, errno);
}

Result<> Files::remove(const std::string& path) {
  NSError* error = nil;
  // Removes a directory with its contents, and of a link the link.
  if (![manager() removeItemAtURL:toFileUrl(path) error:&error]) return macos::error(error);
  return {};
}

}  // namespace parlen::macos
