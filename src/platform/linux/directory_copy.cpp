#include "platform/linux/directory_copy.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <map>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/linux/error.h"
#include "platform/linux/sparse_copy.h"
#include "platform/posix/descriptor.h"

namespace parlen::linux {
namespace {

using platform::Result;
using posix::Descriptor;

constexpr int pathFlags = O_PATH | O_DIRECTORY | O_CLOEXEC;
constexpr int directoryFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
constexpr int sourceFlags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
constexpr int targetFlags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
// While it is being filled, only its owner may use a copy, whatever the source allows.
constexpr mode_t ownFile = 0600;
constexpr mode_t ownDirectory = 0700;

// What is not said otherwise returns 0 or an errno value.

// ---- Owner, mode, times and extended attributes ----

constexpr mode_t modeBits = 07777;

std::array<timespec, 2> timesOf(const struct stat& status) {
  return {status.st_atim, status.st_mtim};
}

// What a file may do for its owner or group must not be handed to another owner or group.
mode_t modeFor(const struct stat& status, bool owned) {
  const mode_t mode = status.st_mode & modeBits;
  return owned ? mode : mode & ~mode_t{S_ISUID | S_ISGID};
}

// Only a privileged process may give files away; the group alone may still be allowed.
bool giveOwner(const struct stat& status, int directory, const char* name, int flags) {
  if (fchownat(directory, name, status.st_uid, status.st_gid, flags) == 0) return true;
  [[maybe_unused]] const int grouped =
      fchownat(directory, name, static_cast<uid_t>(-1), status.st_gid, flags);
  return false;
}

bool isForbidden(int code) { return code == ENOTSUP || code == EPERM || code == EACCES; }

// A list or a value may change between the two calls: ERANGE then asks for another try.
template <class Read>
int readWhole(std::string& into, Read read) {
  for (;;) {
    const ssize_t size = read(nullptr, 0);
    if (size < 0) return errno;
    into.resize(static_cast<std::size_t>(size));
    if (size == 0) return 0;
    const ssize_t count = read(into.data(), into.size());
    if (count >= 0) {
      into.resize(static_cast<std::size_t>(count));
      return 0;
    }
    if (errno != ERANGE) return errno;
  }
}

int copyAttribute(int source, int target, const char* name) {
  std::string value;
  const int code = readWhole(
      value, [&](char* data, std::size_t size) { return fgetxattr(source, name, data, size); });
  if (code == ENODATA) return 0;  // removed meanwhile
  if (code != 0) return code;
  return fsetxattr(target, name, value.data(), value.size(), 0) == 0 ? 0 : errno;
}

int copyExtendedAttributes(int source, int target) {
  std::string names;  // each ended by a NUL
  const int listed = readWhole(
      names, [&](char* data, std::size_t size) { return flistxattr(source, data, size); });
  if (listed != 0) return isForbidden(listed) ? 0 : listed;
  for (std::size_t at = 0; at < names.size(); at += std::strlen(names.c_str() + at) + 1) {
    const int code = copyAttribute(source, target, names.c_str() + at);
    if (code != 0 && !isForbidden(code)) return code;
  }
  return 0;
}

// Gives an open file or directory the owner, extended attributes, mode and times of another one,
// whose status is given. The owner is given as far as the process may; attributes that the target's
// file system or the process's rights do not allow are left out. The order matters: a new owner
// takes special mode bits away, an access list changes the mode, a mode without write permission
// forbids attributes, and all of it changes the times.
int copyAttributes(int source, const struct stat& status, int target) {
  const bool owned = giveOwner(status, target, "", AT_EMPTY_PATH);
  if (const int code = copyExtendedAttributes(source, target)) return code;
  if (fchmod(target, modeFor(status, owned)) != 0) return errno;
  return futimens(target, timesOf(status).data()) == 0 ? 0 : errno;
}

// The same for a link or a special file `name` in `directory`, which is not opened or followed.
// Only the system itself could have given these extended attributes; they are left out.
int copyAttributesAt(const struct stat& status, int directory, const char* name) {
  const bool owned = giveOwner(status, directory, name, AT_SYMLINK_NOFOLLOW);
  const bool hasMode = !S_ISLNK(status.st_mode);
  if (hasMode && fchmodat(directory, name, modeFor(status, owned), 0) != 0) return errno;
  return utimensat(directory, name, timesOf(status).data(), AT_SYMLINK_NOFOLLOW) == 0 ? 0 : errno;
}

// ---- Entries of directories ----

int listDirectory(int descriptor, std::vector<std::string>& names) {
  Descriptor own(openat(descriptor, ".", directoryFlags));  // fdopendir keeps what it is given
  if (!own) return errno;
  const std::unique_ptr<DIR, int (*)(DIR*)> directory(fdopendir(own.get()), &closedir);
  if (!directory) return errno;
  own.release();
  for (;;) {
    errno = 0;
    const dirent* entry = readdir(directory.get());
    if (entry == nullptr) return errno;
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") names.emplace_back(name);
  }
}

int readLink(int directory, const char* name, std::string& text) {
  for (std::size_t room = 256;; room *= 2) {
    text.resize(room);
    const ssize_t count = readlinkat(directory, name, text.data(), room);
    if (count < 0) return errno;
    if (static_cast<std::size_t>(count) == room) continue;  // perhaps cut off
    text.resize(static_cast<std::size_t>(count));
    return 0;
  }
}

/// Moves those of `names` that `last` has to the end, in the order of `last`.
void putLast(std::vector<std::string>& names, std::span<const std::string_view> last) {
  for (const std::string_view name : last) {
    const auto found = std::ranges::find(names, name);
    if (found != names.end()) std::rotate(found, found + 1, names.end());
  }
}

/// One copy of a directory with all that is in it into a new, empty one. The directories that are
/// being copied are kept in a list rather than on the stack, so that no depth can overflow it.
class TreeCopy {
 public:
  /// The paths are for error messages, and must outlive the copy.
  TreeCopy(const std::string& from, const std::string& to) : from_(from), to_(to) {}

  /// The entries of `source` that `last` names are copied after all others.
  platform::Result<> run(Descriptor source, Descriptor target,
                         std::span<const std::string_view> last);

 private:
  using FileId = std::pair<dev_t, ino_t>;

  struct Level {
    Descriptor source;
    Descriptor target;
    struct stat status;
    std::string path;  // from the top, "" or with a slash at the end
    std::vector<std::string> names;
    std::size_t next = 0;
  };

  static FileId idOf(const struct stat& status) { return {status.st_dev, status.st_ino}; }

  int enter(Descriptor source, Descriptor target, std::string path);
  int leave();
  int copyEntry(const Level& level, const char* name, const std::string& path);
  int copyDirectory(const Level& level, const char* name, const struct stat& status,
                    const std::string& path);
  int linkAgain(const Level& level, const char* name, const std::string& first);
  static int copyFile(const Level& level, const char* name);
  static int copyLink(const Level& level, const char* name, const struct stat& status);
  static int copySpecial(const Level& level, const char* name, const struct stat& status);
  platform::Result<> failed(const std::string& path, int code) const;

  const std::string& from_;
  const std::string& to_;
  FileId top_;  // the copy's own top directory
  std::vector<Level> levels_;
  std::map<FileId, std::string> linked_;  // where the first of several links was copied to
};

Result<> TreeCopy::run(Descriptor source, Descriptor target,
                       std::span<const std::string_view> last) {
  struct stat made{};
  if (fstat(target.get(), &made) != 0) return failed("", errno);
  top_ = idOf(made);
  if (const int code = enter(std::move(source), std::move(target), "")) return failed("", code);
  putLast(levels_.front().names, last);
  while (!levels_.empty()) {
    Level& level = levels_.back();
    if (level.next == level.names.size()) {
      if (const int code = leave()) return failed(level.path, code);
      continue;
    }
    // Copied out: entering a directory moves the levels.
    const std::string name = level.names[level.next++];
    const std::string path = level.path + name;
    if (const int code = copyEntry(level, name.c_str(), path)) return failed(path, code);
  }
  return {};
}

int TreeCopy::enter(Descriptor source, Descriptor target, std::string path) {
  Level level{std::move(source), std::move(target), {}, std::move(path), {}};
  if (fstat(level.source.get(), &level.status) != 0) return errno;
  if (const int code = listDirectory(level.source.get(), level.names)) return code;
  levels_.push_back(std::move(level));
  return 0;
}

// Only now: a directory without write permission could not have been filled, and filling it
// changed its times.
int TreeCopy::leave() {
  const Level& level = levels_.back();
  const int code = copyAttributes(level.source.get(), level.status, level.target.get());
  if (code == 0) levels_.pop_back();
  return code;
}

int TreeCopy::copyEntry(const Level& level, const char* name, const std::string& path) {
  struct stat status{};
  if (fstatat(level.source.get(), name, &status, AT_SYMLINK_NOFOLLOW) != 0) return errno;
  if (S_ISDIR(status.st_mode)) return copyDirectory(level, name, status, path);
  if (status.st_nlink > 1) {
    const auto [known, isFirst] = linked_.try_emplace(idOf(status), path);
    if (!isFirst) return linkAgain(level, name, known->second);
  }
  if (S_ISREG(status.st_mode)) return copyFile(level, name);
  if (S_ISLNK(status.st_mode)) return copyLink(level, name, status);
  return copySpecial(level, name, status);
}

int TreeCopy::copyDirectory(const Level& level, const char* name, const struct stat& status,
                            const std::string& path) {
  // A mount inside the source can still lead to the copy.
  if (idOf(status) == top_) return ELOOP;
  Descriptor source(openat(level.source.get(), name, directoryFlags));
  if (!source) return errno;
  if (mkdirat(level.target.get(), name, ownDirectory) != 0) return errno;
  Descriptor target(openat(level.target.get(), name, directoryFlags));
  if (!target) return errno;
  return enter(std::move(source), std::move(target), path + "/");
}

int TreeCopy::linkAgain(const Level& level, const char* name, const std::string& first) {
  const int top = levels_.front().target.get();
  return linkat(top, first.c_str(), level.target.get(), name, 0) == 0 ? 0 : errno;
}

int TreeCopy::copyFile(const Level& level, const char* name) {
  const Descriptor source(openat(level.source.get(), name, sourceFlags));
  struct stat status{};
  if (!source || fstat(source.get(), &status) != 0) return errno;
  if (!S_ISREG(status.st_mode)) return ESTALE;  // replaced since it was looked at
  Descriptor target(openat(level.target.get(), name, targetFlags, ownFile));
  if (!target) return errno;
  if (const int code = copyContent(source.get(), status, target.get())) return code;
  if (const int code = copyAttributes(source.get(), status, target.get())) return code;
  return target.close() ? 0 : errno;
}

int TreeCopy::copyLink(const Level& level, const char* name, const struct stat& status) {
  std::string text;
  if (const int code = readLink(level.source.get(), name, text)) return code;
  if (symlinkat(text.c_str(), level.target.get(), name) != 0) return errno;
  return copyAttributesAt(status, level.target.get(), name);
}

int TreeCopy::copySpecial(const Level& level, const char* name, const struct stat& status) {
  const mode_t kind = status.st_mode & S_IFMT;
  if (mknodat(level.target.get(), name, kind | ownFile, status.st_rdev) != 0) return errno;
  return copyAttributesAt(status, level.target.get(), name);
}

Result<> TreeCopy::failed(const std::string& path, int code) const {
  std::string below = path.empty() ? "" : "/" + path;
  if (below.ends_with('/')) below.pop_back();
  return error("copy " + from_ + below + " to " + to_ + below, code);
}

// ---- The two tops ----

/// Lets the process have as many descriptors as the system allows, for as long as this lives.
class DescriptorAllowance {
 public:
  DescriptorAllowance() {
    getrlimit(RLIMIT_NOFILE, &before_);
    const rlimit all{before_.rlim_max, before_.rlim_max};
    setrlimit(RLIMIT_NOFILE, &all);
  }
  ~DescriptorAllowance() { setrlimit(RLIMIT_NOFILE, &before_); }
  DescriptorAllowance(const DescriptorAllowance&) = delete;
  DescriptorAllowance& operator=(const DescriptorAllowance&) = delete;

 private:
  rlimit before_{};
};

bool isSame(const struct stat& one, const struct stat& other) {
  return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

/// Whether `directory` or one above it is the directory `wanted`. Goes by identity: a path may lead
/// through links and other names of the same directory.
bool liesInside(Descriptor directory, const struct stat& wanted) {
  struct stat here{};
  struct stat above{};
  if (fstat(directory.get(), &here) != 0) return false;
  while (!isSame(here, wanted)) {
    directory = Descriptor(openat(directory.get(), "..", pathFlags));
    // A directory that cannot be entered hides those above it, and could not be copied either.
    if (!directory || fstat(directory.get(), &above) != 0) return false;
    if (isSame(here, above)) return false;  // the root is above itself
    here = above;
  }
  return true;
}

}  // namespace

Result<> copyDirectoryTree(const std::string& from, const std::string& to,
                           std::span<const std::string_view> last) {
  const std::string attempt = "copy " + from + " to " + to;
  const DescriptorAllowance allowance;
  Descriptor sourceTop(open(from.c_str(), directoryFlags & ~O_NOFOLLOW));
  struct stat status{};
  if (!sourceTop || fstat(sourceTop.get(), &status) != 0) return error(attempt, errno);
  Descriptor targetTop(open(to.c_str(), directoryFlags));
  if (!targetTop) return error(attempt, errno);
  Descriptor inner(openat(targetTop.get(), ".", pathFlags));
  if (!inner) return error(attempt, errno);
  if (liesInside(std::move(inner), status)) {
    return error(attempt, EINVAL, "The copy would lie inside its source");
  }
  if (fchmod(targetTop.get(), ownDirectory) != 0) return error(attempt, errno);
  return TreeCopy(from, to).run(std::move(sourceTop), std::move(targetTop), last);
}

}  // namespace parlen::linux
