#include "platform/linux/copy_attributes.h"

#include <fcntl.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <string>

namespace parlen::linux {
namespace {

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

bool isRefusal(int code) { return code == ENOTSUP || code == EPERM || code == EACCES; }

// A list or a value may change between the two calls: then ERANGE asks for another round.
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
  if (listed != 0) return isRefusal(listed) ? 0 : listed;
  for (std::size_t at = 0; at < names.size(); at += std::strlen(names.c_str() + at) + 1) {
    const int code = copyAttribute(source, target, names.c_str() + at);
    if (code != 0 && !isRefusal(code)) return code;
  }
  return 0;
}

}  // namespace

// In this order: a new owner takes special mode bits away, an access list changes the mode, a mode
// without write permission refuses attributes, and all of it touches the times.
int copyAttributes(int source, const struct stat& status, int target) {
  const bool owned = giveOwner(status, target, "", AT_EMPTY_PATH);
  if (const int code = copyExtendedAttributes(source, target)) return code;
  if (fchmod(target, modeFor(status, owned)) != 0) return errno;
  return futimens(target, timesOf(status).data()) == 0 ? 0 : errno;
}

int copyAttributesAt(const struct stat& status, int directory, const char* name) {
  const bool owned = giveOwner(status, directory, name, AT_SYMLINK_NOFOLLOW);
  const bool hasMode = !S_ISLNK(status.st_mode);
  if (hasMode && fchmodat(directory, name, modeFor(status, owned), 0) != 0) return errno;
  return utimensat(directory, name, timesOf(status).data(), AT_SYMLINK_NOFOLLOW) == 0 ? 0 : errno;
}

}  // namespace parlen::linux
