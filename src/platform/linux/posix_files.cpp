#include "platform/linux/posix_files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <limits>
#include <memory>

#include "platform/linux/descriptor.h"
#include "platform/linux/directory_copy.h"
#include "platform/linux/error.h"

namespace parlen::linux {
namespace {

using platform::Result;

constexpr mode_t directoryMode = 0777;

struct Freed {
  void operator()(char* text) const { std::free(text); }
};
using CText = std::unique_ptr<char, Freed>;

std::string withoutTrailingSlashes(const std::string& path) {
  const std::size_t last = path.find_last_not_of('/');
  return last == std::string::npos ? path.substr(0, 1) : path.substr(0, last + 1);
}

}  // namespace

std::string PosixFiles::currentDirectory() const {
  std::array<char, PATH_MAX> directory{};
  // A directory that was removed has no path any more, but this still leads to it.
  return getcwd(directory.data(), directory.size()) ? directory.data() : "/proc/self/cwd";
}

bool PosixFiles::exists(const std::string& path) const {
  struct stat status{};
  return stat(path.c_str(), &status) == 0;
}

bool PosixFiles::isDirectory(const std::string& path) const {
  struct stat status{};
  return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool PosixFiles::isSymbolicLink(const std::string& path) const {
  struct stat status{};
  return lstat(path.c_str(), &status) == 0 && S_ISLNK(status.st_mode);
}

std::optional<std::string> PosixFiles::canonicalPath(const std::string& path) const {
  const CText resolved(realpath(path.c_str(), nullptr));
  if (!resolved) return std::nullopt;
  return resolved.get();
}

Result<std::uint64_t> PosixFiles::length(const std::string& path) const {
  struct stat status{};
  if (stat(path.c_str(), &status) != 0) return failure("find the length of " + path, errno);
  return static_cast<std::uint64_t>(status.st_size);
}

Result<> PosixFiles::createDirectories(const std::string& path) {
  const std::string directory = withoutTrailingSlashes(path);
  if (mkdir(directory.c_str(), directoryMode) == 0) return {};
  int code = errno;
  // Asked after any failure: on a read-only file system the reason need not be EEXIST.
  if (isDirectory(directory)) return {};
  const std::size_t slash = directory.rfind('/');
  if (code == ENOENT && slash != std::string::npos && slash > 0) {
    if (const Result<> parent = createDirectories(directory.substr(0, slash)); !parent) {
      return parent;
    }
    if (mkdir(directory.c_str(), directoryMode) == 0) return {};
    code = errno;
    // Another process may have been faster.
    if (isDirectory(directory)) return {};
  }
  return failure("create the directory " + directory, code);
}

Result<> PosixFiles::setLength(const std::string& path, std::uint64_t length) {
  const std::string attempt = "set the length of " + path;
  if (length > static_cast<std::uint64_t>(std::numeric_limits<off_t>::max())) {
    return failure(attempt, EFBIG);
  }
  Descriptor file(open(path.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (!file || ftruncate(file.get(), static_cast<off_t>(length)) != 0) {
    return failure(attempt, errno);
  }
  if (!file.close()) return failure(attempt, errno);
  return {};
}

Result<> PosixFiles::copyDirectory(const std::string& from, const std::string& to) {
  return copyDirectoryTree(from, to);
}

Result<> PosixFiles::removeFile(const std::string& path) {
  if (unlink(path.c_str()) != 0) return failure("remove " + path, errno);
  return {};
}

}  // namespace parlen::linux
