#pragma once

#include <sys/stat.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/error.h"
#include "platform/host.h"
#include "platform/linux/loop.h"
#include "platform/qemu/subprocess.h"

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

/// Finds out whether a file is a disk image that may be put onto a guest's disk: complete in itself
/// (whoever made it must not get at other files of this host), whole, and a disk at all.
class ImageExamination {
 public:
  using Found = platform::Result<std::shared_ptr<const RestoreImage>>;

  ImageExamination(linux::Loop& loop, std::string path, std::function<void(Found)> done);

  /// Called once. `done` runs on the main queue in a later turn, exactly once.
  void start();

 private:
  void askForFormat();
  void formatKnown(const SubprocessExit& exit);
  void askWhetherWhole();
  void checked(const SubprocessExit& exit);
  void askWhereDataEnds();
  void mapped(const SubprocessExit& exit);
  void ask(std::vector<std::string> arguments, Subprocess::ExitHandler answered);
  void accept();
  void refuse(const std::string& why);  // a sentence's end, whose beginning is the path
  void finish(Found found);

  linux::Loop& loop_;
  std::string path_;
  std::function<void(Found)> done_;
  ImageFront front_;
  std::string format_;
  std::string output_;
  std::unique_ptr<Subprocess> run_;
};

}  // namespace parlen::qemu
