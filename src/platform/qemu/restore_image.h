#pragma once

#include <sys/stat.h>

#include <memory>
#include <optional>
#include <string>

#include "platform/host.h"

namespace parlen::qemu {

/// Which file was examined, so that another one in its place is noticed.
struct FileStamp {
  dev_t device = 0;
  ino_t inode = 0;
  off_t length = 0;
  timespec modified{};
  friend bool operator==(const FileStamp& left, const FileStamp& right) {
    return left.device == right.device && left.inode == right.inode &&
           left.length == right.length && left.modified.tv_sec == right.modified.tv_sec &&
           left.modified.tv_nsec == right.modified.tv_nsec;
  }
};

/// The stamp of the file at `path` now; nothing if it cannot be had.
std::optional<FileStamp> stampOf(const std::string& path);

/// A disk image that has been found fit to be put onto a guest's disk.
class RestoreImage : public platform::RestoreImage {
 public:
  RestoreImage(std::string path, std::string format, const FileStamp& stamp)
      : path_(std::move(path)), format_(std::move(format)), stamp_(stamp) {}

  std::string path() const override { return path_; }
  /// An image names no needs: one processor and any memory will do.
  std::optional<platform::ConfigurationRequirements> mostFeaturefulSupportedConfiguration()
      const override;
  const std::string& format() const { return format_; }
  const FileStamp& stamp() const { return stamp_; }

 private:
  std::string path_;
  std::string format_;  // as QEMU names it
  FileStamp stamp_;
};

/// The first bytes of the regular file at `path`, as many as the examination needs, and its stamp.
struct ImageFront {
  std::string header;
  FileStamp stamp;
};
platform::Result<ImageFront> readImageFront(const std::string& path);

}  // namespace parlen::qemu
