#include "platform/linux/tree_copy.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <string_view>

#include "platform/linux/copy_attributes.h"
#include "platform/linux/error.h"
#include "platform/linux/sparse_copy.h"

namespace parlen::linux {
namespace {

using platform::Result;

constexpr int directoryFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
constexpr int sourceFlags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
constexpr int targetFlags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
// While it is being filled, a copy is its owner's alone, whatever the source allows.
constexpr mode_t ownFile = 0600;
constexpr mode_t ownDirectory = 0700;

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

}  // namespace

Result<> TreeCopy::run(Descriptor source, Descriptor target) {
  struct stat made{};
  if (fstat(target.get(), &made) != 0) return failed("", errno);
  top_ = idOf(made);
  if (const int code = enter(std::move(source), std::move(target), "")) return failed("", code);
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
  return failure("copy " + from_ + below + " to " + to_ + below, code);
}

}  // namespace parlen::linux
