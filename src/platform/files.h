#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "platform/error.h"

namespace parlen::platform {

/// A file that is open for writing at its end. Destroying it closes it.
class AppendingFile {
 public:
  virtual ~AppendingFile() = default;
  /// Writes all of `bytes`, unbuffered. A write error is ignored.
  virtual void append(std::string_view bytes) = 0;
};

/// Who else may lock a directory: nobody, or those that lock it as `shared` too.
enum class LockKind { exclusive, shared };

/// Keeps a directory locked. Destroying it unlocks, and so does every end of the process.
class DirectoryLock {
 public:
  virtual ~DirectoryLock() = default;
};

/// The file system. A path is a string of bytes without a NUL, absolute or relative to the working
/// directory. Every call blocks until it is done and follows symbolic links, except where its
/// comment says otherwise. Every error's description names the file, at least by the last component
/// of its path, and the system's reason. Any thread.
class Files {
 public:
  virtual ~Files() = default;

  /// The absolute path of the process's working directory.
  virtual std::string currentDirectory() const = 0;

  /// Whether there is a file of any kind at `path`; false for a dangling link.
  virtual bool exists(const std::string& path) const = 0;

  /// Whether there is a directory at `path`.
  virtual bool isDirectory(const std::string& path) const = 0;

  /// Whether `path` itself is a symbolic link; does not follow it.
  virtual bool isSymbolicLink(const std::string& path) const = 0;

  /// `path` with every symbolic link resolved, or nothing if it cannot be resolved.
  virtual std::optional<std::string> canonicalPath(const std::string& path) const = 0;

  /// The logical length of the file in bytes, not the space that is allocated for it.
  virtual Result<std::uint64_t> length(const std::string& path) const = 0;

  /// The whole content of a regular file. Any other kind of file is an error; a FIFO does not block
  /// the call.
  virtual Result<std::string> read(const std::string& path) const = 0;

  /// Like `read`, but at most the first `maxBytes` bytes.
  virtual Result<std::string> readStart(const std::string& path, std::size_t maxBytes) const = 0;

  /// Creates the file with `bytes` in it. It is an error if anything exists at `path`, even a
  /// dangling link. Another error can leave a file with a part of `bytes`.
  virtual Result<> create(const std::string& path, std::string_view bytes) = 0;

  /// Removes what is at `path`, if there is anything: a file of any kind, or a symbolic link but
  /// not its target; a directory is an error. Then does as `create` does. The new file has the
  /// owner and the mode of the regular file that it replaces, as far as the process may give them.
  virtual Result<> replace(const std::string& path, std::string_view bytes) = 0;

  /// Overwrites the start of an existing regular file with `bytes` and keeps the rest of the file.
  /// With empty `bytes`, only checks that the file is writable.
  virtual Result<> writeStart(const std::string& path, std::string_view bytes) = 0;

  /// Creates or truncates the file and returns it open. A FIFO does not block the call.
  virtual Result<std::unique_ptr<AppendingFile>> createForAppending(const std::string& path) = 0;

  /// Creates the directory and its missing ancestors. It is no error if the directory exists.
  virtual Result<> createDirectories(const std::string& path) = 0;

  /// Creates the directory; its parent exists. It is an error if anything exists at `path`, even a
  /// dangling link: of several calls for one path, one succeeds.
  virtual Result<> createDirectory(const std::string& path) = 0;

  /// Locks the directory; creates nothing and does not wait. Only locks keep off each other, those
  /// of this process included; children do not inherit them. Null if another lock is in the way.
  /// Where the file system has no locks, or the directory cannot be opened for reading, the lock
  /// has no effect. It is an error if the process or the system can open no further file.
  virtual Result<std::unique_ptr<DirectoryLock>> lockDirectory(const std::string& path,
                                                               LockKind kind) = 0;

  /// Sets the length of an existing file to `length` bytes. A file that grows gets a hole, not
  /// blocks of zeros.
  virtual Result<> setLength(const std::string& path, std::uint64_t length) = 0;

  /// Copies what is in the directory `from` (the target, if `from` is a symbolic link) into `to`,
  /// an empty directory that the caller has created, and gives `to` the attributes of `from`. The
  /// members of `from` with the names `last` are copied in that order, after everything else. It is
  /// an error if `to` lies inside `from`, or if anything appears in `to` that is to be copied.
  /// Symbolic links are copied as links; modes, times and extended attributes are kept. Whether
  /// hard links among the files are kept is the host's: each name has the content. A FIFO, a socket
  /// or a device is never opened. It is created anew; a host that creates none names it in an error
  /// before it copies anything. The copy shares storage with the original, or at least keeps holes,
  /// where the host and the file system can do so. Another error leaves what was copied so far.
  virtual Result<> copyDirectory(const std::string& from, const std::string& to,
                                 std::span<const std::string_view> last) = 0;

  /// Removes a file of any kind, a symbolic link but not its target, or a directory with all that
  /// is in it. An error can leave a part of a directory.
  virtual Result<> remove(const std::string& path) = 0;
};

}  // namespace parlen::platform
