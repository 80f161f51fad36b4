#include "platform/linux/files.h"

#include <fcntl.h>
#include <ftw.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <memory>
#include <utility>

#include "platform/linux/directory_copy.h"
#include "platform/linux/error.h"
#include "platform/posix/descriptor.h"
#include "platform/posix/directory_lock.h"
#include "platform/posix/files.h"

namespace parlen::linux {
namespace {

using platform::Result;
using posix::Descriptor;

constexpr mode_t directoryMode = 0777;
// No file may block the open, become a controlling terminal or leak into a child.
constexpr int safely = O_CLOEXEC | O_NONBLOCK | O_NOCTTY;

struct Freed {
  void operator()(char* text) const { std::free(text); }
};
using CText = std::unique_ptr<char, Freed>;

std::string withoutTrailingSlashes(const std::string& path) {
  const std::size_t last = path.find_last_not_of('/');
  return last == std::string::npos ? path.substr(0, 1) : path.substr(0, last + 1);
}

struct RegularFile {
  Descriptor descriptor;
  std::uint64_t length = 0;
};

Result<RegularFile> openRegular(const std::string& path, int access, std::string_view attempt) {
  Descriptor file(open(path.c_str(), access | safely));
  struct stat status{};
  if (!file || fstat(file.get(), &status) != 0) return error(attempt, errno);
  if (S_ISDIR(status.st_mode)) return error(attempt, EISDIR);
  if (!S_ISREG(status.st_mode)) return error(attempt, EINVAL, "Not a regular file");
  return RegularFile{std::move(file), static_cast<std::uint64_t>(status.st_size)};
}

/// Reads up to `maxBytes`. The length is a hint only: a file may grow, and those in /proc have
/// none.
Result<std::string> readUpTo(const RegularFile& file, std::size_t maxBytes,
                             std::string_view attempt) {
  std::string content;
  std::size_t used = 0;
  std::size_t room = static_cast<std::size_t>(std::min<std::uint64_t>(file.length + 1, maxBytes));
  while (used < maxBytes) {
    content.resize(room);
    const ssize_t count =
        ::read(file.descriptor.get(), content.data() + used, content.size() - used);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return error(attempt, errno);
    if (count == 0) break;
    used += static_cast<std::size_t>(count);
    if (used == room) room = std::min(maxBytes, 2 * room + 4096);
  }
  content.resize(used);
  return content;
}

/// The owner as far as the process may. For another owner or group a file has no special bits.
void giveAttributes(const struct stat& status, int file) {
  constexpr mode_t modeBits = 0777;
  [[maybe_unused]] const int owned = fchown(file, status.st_uid, status.st_gid);
  [[maybe_unused]] const int changed = fchmod(file, status.st_mode & modeBits);
}

Result<> writeAndClose(Descriptor file, std::string_view bytes, std::string_view attempt) {
  if (const int code = posix::writeAndClose(std::move(file), bytes)) return error(attempt, code);
  return {};
}

}  // namespace

// ---- What is there ----

std::string Files::currentDirectory() const {
  std::array<char, PATH_MAX> directory{};
  // A directory that was removed has no path any more, but this still leads to it.
  return getcwd(directory.data(), directory.size()) ? directory.data() : "/proc/self/cwd";
}

bool Files::exists(const std::string& path) const {
  struct stat status{};
  return stat(path.c_str(), &status) == 0;
}

bool Files::isDirectory(const std::string& path) const {
  struct stat status{};
  return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool Files::isSymbolicLink(const std::string& path) const {
  struct stat status{};
  return lstat(path.c_str(), &status) == 0 && S_ISLNK(status.st_mode);
}

std::optional<std::string> Files::canonicalPath(const std::string& path) const {
  const CText resolved(realpath(path.c_str(), nullptr));
  if (!resolved) return std::nullopt;
  return resolved.get();
}

Result<std::uint64_t> Files::length(const std::string& path) const {
  struct stat status{};
  if (stat(path.c_str(), &status) != 0) return error("find the length of " + path, errno);
  return static_cast<std::uint64_t>(status.st_size);
}

// ---- Content ----

Result<std::string> Files::read(const std::string& path) const {
  const std::string attempt = "read the file " + path;
  const Result<RegularFile> file = openRegular(path, O_RDONLY, attempt);
  if (!file) return std::unexpected(file.error());
  if (file->length > maxRead) return error(attempt, EFBIG);
  Result<std::string> content = readUpTo(*file, maxRead + 1, attempt);
  if (content && content->size() > maxRead) return error(attempt, EFBIG);
  return content;
}

Result<std::string> Files::readStart(const std::string& path, std::size_t maxBytes) const {
  const std::string attempt = "read the file " + path;
  const Result<RegularFile> file = openRegular(path, O_RDONLY, attempt);
  if (!file) return std::unexpected(file.error());
  return readUpTo(*file, maxBytes, attempt);
}

Result<> Files::create(const std::string& path, std::string_view bytes) {
  const std::string attempt = "create the file " + path;
  Descriptor file = posix::openNew(path);
  if (!file) return error(attempt, errno);
  return writeAndClose(std::move(file), bytes, attempt);
}

Result<> Files::replace(const std::string& path, std::string_view bytes) {
  const std::string attempt = "write the file " + path;
  struct stat before{};
  const bool exists = lstat(path.c_str(), &before) == 0;
  if (exists && unlink(path.c_str()) != 0) return error(attempt, errno);
  Descriptor file = posix::openNew(path);
  if (!file) return error(attempt, errno);
  if (exists && S_ISREG(before.st_mode)) giveAttributes(before, file.get());
  return writeAndClose(std::move(file), bytes, attempt);
}

Result<> Files::writeStart(const std::string& path, std::string_view bytes) {
  const std::string attempt = "write the file " + path;
  Result<RegularFile> file = openRegular(path, O_WRONLY, attempt);
  if (!file) return std::unexpected(file.error());
  return writeAndClose(std::move(file->descriptor), bytes, attempt);
}

Result<std::unique_ptr<platform::AppendingFile>> Files::createForAppending(
    const std::string& path) {
  auto file = posix::createForAppending(path);
  if (!file) return error("create the file " + path, file.error());
  return *std::move(file);
}

Result<> Files::setLength(const std::string& path, std::uint64_t length) {
  const std::string attempt = "set the length of " + path;
  if (length > static_cast<std::uint64_t>(std::numeric_limits<off_t>::max())) {
    return error(attempt, EFBIG);
  }
  Descriptor file(open(path.c_str(), O_WRONLY | safely));
  if (!file || ftruncate(file.get(), static_cast<off_t>(length)) != 0) return error(attempt, errno);
  if (!file.close()) return error(attempt, errno);
  return {};
}

// ---- Directories and removal ----

Result<> Files::createDirectories(const std::string& path) {
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
  return error("create the directory " + directory, code);
}

Result<> Files::createDirectory(const std::string& path) {
  if (mkdir(path.c_str(), directoryMode) != 0) return error("create the directory " + path, errno);
  return {};
}

Result<std::unique_ptr<platform::DirectoryLock>> Files::lockDirectory(const std::string& path,
                                                                      platform::LockKind kind) {
  auto lock = posix::lockDirectory(path, kind);
  if (!lock) return error("lock the directory " + path, lock.error());
  return *std::move(lock);
}

Result<> Files::copyDirectory(const std::string& from, const std::string& to,
                              std::span<const std::string_view> last) {
  return copyDirectoryTree(withoutTrailingSlashes(from), withoutTrailingSlashes(to), last);
}

Result<> Files::remove(const std::string& path) {
  constexpr int maxDescriptors = 16;
  const auto removeOne = [](const char* entry, const struct stat*, int, FTW*) {
    return std::remove(entry);
  };
  if (nftw(path.c_str(), removeOne, maxDescriptors, FTW_DEPTH | FTW_PHYS) == 0) return {};
  return error("remove " + path, errno);
}

}  // namespace parlen::linux
