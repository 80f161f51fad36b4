#import <Foundation/Foundation.h>

#import "platform/macos/bridge.h"
#import "platform/macos/files.h"
#import "platform/macos/objc_file_kinds.h"

namespace parlen::macos {
namespace {

using platform::Result;

class OpenFile final : public platform::AppendingFile {
 public:
  explicit OpenFile(NSFileHandle* handle) : handle_(handle) {}

  void append(std::string_view bytes) override {
    [handle_ seekToEndReturningOffset:nil error:nil];
    [handle_ writeData:toData(bytes) error:nil];
  }

 private:
  NSFileHandle* handle_;
};

/// Opens a file that exists; creates and truncates nothing.
Result<NSFileHandle*> openForWriting(const std::string& path) {
  NSError* error = nil;
  NSFileHandle* handle = [NSFileHandle fileHandleForWritingToURL:toFileUrl(path) error:&error];
  if (handle == nil) return failure(error);
  return handle;
}

Result<> close(NSFileHandle* handle) {
  NSError* error = nil;
  if (![handle closeAndReturnError:&error]) return failure(error);
  return {};
}

}  // namespace

Result<std::string> Files::read(const std::string& path) const {
  if (const auto regular = requireRegular(path); !regular) return std::unexpected(regular.error());
  NSError* error = nil;
  NSData* content = [NSData dataWithContentsOfURL:toFileUrl(path) options:0 error:&error];
  if (content == nil) return failure(error);
  return fromData(content);
}

Result<std::string> Files::readStart(const std::string& path, std::size_t most) const {
  if (const auto regular = requireRegular(path); !regular) return std::unexpected(regular.error());
  NSError* error = nil;
  NSFileHandle* handle = [NSFileHandle fileHandleForReadingFromURL:toFileUrl(path) error:&error];
  if (handle == nil) return failure(error);
  NSData* start = [handle readDataUpToLength:most error:&error];
  if (start == nil) return failure(error);
  return fromData(start);
}

Result<> Files::write(const std::string& path, std::string_view bytes) {
  if (const auto usable = refuseFifo(path); !usable) return usable;
  NSError* error = nil;
  // Without options the write is a plain one.
  if (![toData(bytes) writeToURL:toFileUrl(path) options:0 error:&error]) return failure(error);
  return {};
}

Result<> Files::writeStart(const std::string& path, std::string_view bytes) {
  if (const auto regular = requireRegular(path); !regular) return regular;
  const auto handle = openForWriting(path);
  if (!handle) return std::unexpected(handle.error());
  NSError* error = nil;
  if (![*handle writeData:toData(bytes) error:&error]) return failure(error);
  return close(*handle);
}

Result<std::unique_ptr<platform::AppendingFile>> Files::createForAppending(
    const std::string& path) {
  if (const auto created = write(path, ""); !created) return std::unexpected(created.error());
  const auto handle = openForWriting(path);
  if (!handle) return std::unexpected(handle.error());
  return std::make_unique<OpenFile>(*handle);
}

Result<> Files::setLength(const std::string& path, std::uint64_t length) {
  if (const auto regular = requireRegular(path); !regular) return regular;
  const auto handle = openForWriting(path);
  if (!handle) return std::unexpected(handle.error());
  NSError* error = nil;
  if (![*handle truncateAtOffset:length error:&error]) return failure(error);
  return close(*handle);
}

}  // namespace parlen::macos
