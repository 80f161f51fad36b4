#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/error.h"

namespace parlen::platform {

/// A file held open to be written at its end; destroying it closes it.
class AppendingFile {
 public:
  virtual ~AppendingFile() = default;
  /// Writes all of `bytes`, unbuffered. A failed write is dropped.
  virtual void append(std::string_view bytes) = 0;
};

/// The file system. Paths are bytes without a NUL. Every call follows symbolic links unless it says
/// otherwise, and every error's description names the path and the system's reason. Any thread.
class Files {
 public:
  virtual ~Files() = default;

  /// The process's working directory, absolute.
  virtual std::string currentDirectory() const = 0;

  /// Whether anything, of any kind, is at `path`.
  virtual bool exists(const std::string& path) const = 0;
  virtual bool isDirectory(const std::string& path) const = 0;

  /// Whether `path` itself is a symbolic link.
  virtual bool isSymbolicLink(const std::string& path) const = 0;

  /// `path` with every symbolic link resolved, or nothing if it cannot be resolved.
  virtual std::optional<std::string> canonicalPath(const std::string& path) const = 0;

  /// The length in bytes as the file's attributes give it: the logical one, not the space
  /// allocated.
  virtual Result<std::uint64_t> length(const std::string& path) const = 0;

  /// The whole content of a regular file. Anything else is an error; a FIFO never blocks the call.
  virtual Result<std::string> read(const std::string& path) const = 0;

  /// The first bytes of a regular file, `most` at most. Otherwise as `read`.
  virtual Result<std::string> readStart(const std::string& path, std::size_t most) const = 0;

  /// Creates or truncates the file and writes `bytes`: plainly, not by atomic replacement. A
  /// failure can leave a truncated file. A FIFO never blocks the call.
  virtual Result<> write(const std::string& path, std::string_view bytes) = 0;

  /// Writes `bytes` over the start of an existing regular file, whose other bytes stay. No bytes
  /// only tell whether the file can be written.
  virtual Result<> writeStart(const std::string& path, std::string_view bytes) = 0;

  /// Creates or truncates the file and keeps it open. A FIFO never blocks the call.
  virtual Result<std::unique_ptr<AppendingFile>> createForAppending(const std::string& path) = 0;

  /// Creates the directory and its missing ancestors. A directory that is there already is a
  /// success.
  virtual Result<> createDirectories(const std::string& path) = 0;

  /// Creates an empty file or truncates one. A failure shows when the file is used.
  virtual void createEmptyFile(const std::string& path) = 0;

  /// Opens an existing file for writing, sets its length (growing it sparsely) and closes it.
  virtual Result<> setLength(const std::string& path, std::uint64_t length) = 0;

  /// Copies the directory at `from` (the one behind it, if `from` is a link) to `to`, which must
  /// not exist in any form and must not lie inside `from`. Links inside are copied as links,
  /// special files are made anew, hard links among the files stay. Holes, times, modes and extended
  /// attributes survive; storage is shared where the file system can. A failure leaves what was
  /// copied so far.
  virtual Result<> copyDirectory(const std::string& from, const std::string& to) = 0;

  /// Removes a file or a link (never what the link points to).
  virtual Result<> removeFile(const std::string& path) = 0;
};

}  // namespace parlen::platform
