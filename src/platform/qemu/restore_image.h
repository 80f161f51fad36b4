#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/error.h"
#include "platform/host.h"
#include "platform/linux/event_loop.h"
#include "platform/posix/descriptor.h"
#include "platform/qemu/guest_platform.h"
#include "platform/qemu/qcow2.h"
#include "platform/qemu/subprocess.h"

namespace parlen::qemu {

/// Identifies the file that was examined, so that a replacement is noticed.
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

/// The stamp of the file at `path` now; nothing if stat(2) fails.
std::optional<FileStamp> stampOf(const std::string& path);

/// A disk image that has been examined and can be written to a guest's disk.
class RestoreImage : public platform::RestoreImage {
 public:
  /// `platform` is the kind of guest that this host can make of a disk image; nothing if it can
  /// make none.
  RestoreImage(std::string path, std::string format, const FileStamp& stamp,
               std::optional<GuestPlatform> platform)
      : path_(std::move(path)),
        format_(std::move(format)),
        stamp_(stamp),
        platform_(std::move(platform)) {}

  std::string path() const override { return path_; }
  /// One processor and no minimum of memory: a disk image states no requirements.
  std::optional<platform::ConfigurationRequirements> mostFeaturefulSupportedConfiguration()
      const override;
  const std::string& format() const { return format_; }
  const FileStamp& stamp() const { return stamp_; }

 private:
  std::string path_;
  std::string format_;  // as QEMU names it
  FileStamp stamp_;
  std::optional<GuestPlatform> platform_;
};

/// The first bytes of an image (up to imageHeaderLength), and the stamp of its file.
struct ImageHeader {
  std::string bytes;
  FileStamp stamp;
};
/// `path` must be a regular file.
platform::Result<ImageHeader> readImageHeader(const std::string& path);

/// Checks that a file is a disk image that may be written to a guest's disk: it opens no other file
/// (its author must not reach other files of this host), is not truncated or damaged, and is a
/// disk.
class ImageExamination {
 public:
  using Found = platform::Result<std::shared_ptr<const RestoreImage>>;

  /// `platform`: see RestoreImage.
  ImageExamination(linux::EventLoop& loop, std::string path, std::optional<GuestPlatform> platform,
                   std::function<void(Found)> done);

  /// To be called once. `done` runs on the main queue in a later loop iteration, exactly once.
  void start();

 private:
  void askForFormat();
  void onFormat(const SubprocessExit& exit);
  void askWhetherWhole();
  void onCheck(const SubprocessExit& exit);
  void askWhereDataEnds();
  void onMap(const SubprocessExit& exit);
  void askForDiskHeader();
  void onDiskHeader(const SubprocessExit& exit);
  using Descriptors = std::vector<std::pair<int, int>>;  // as of a Subprocess
  void ask(std::vector<std::string> arguments, Subprocess::ExitHandler answered,
           Descriptors descriptors = {});
  void walkTables();
  void readTable();
  void accept();
  void reject(const std::string& predicate);  // the sentence begins with the path
  void rejectEnd();
  void finish(Found found);

  /// Of the file, in bytes, when its header was read.
  std::uint64_t length() const { return static_cast<std::uint64_t>(header_.stamp.length); }

  /// What is known of a qcow2 image's tables.
  struct TableWalk {
    posix::Descriptor file;
    Qcow2Walk tables;
  };

  linux::EventLoop& loop_;
  std::string path_;
  std::optional<GuestPlatform> platform_;
  std::function<void(Found)> done_;
  ImageHeader header_;
  std::string format_;
  std::uint64_t diskLength_ = 0;  // in bytes, of the disk that the image is
  posix::Descriptor diskHeader_;  // a file in memory
  std::string output_;            // of the tool that runs
  std::unique_ptr<Subprocess> run_;
  std::shared_ptr<TableWalk> walk_;
};

}  // namespace parlen::qemu
