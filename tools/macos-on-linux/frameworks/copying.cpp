// Stands for copyfile(3), clonefile(2) and what NSFileManager does with them, on a volume that is
// not APFS: nothing is shared. Files keep their holes, so that the copy of a guest's disk takes
// what the disk takes; a Mac would clone it. Access lists go with the extended attributes, as Linux
// keeps them.
#include "copying.h"

#include <copyfile.h>
#include <dirent.h>
#include <fcntl.h>
#include <sys/clonefile.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "platform/linux/sparse_copy.h"
#include "platform/posix/descriptor.h"

namespace parlen::harness {
namespace {

using posix::Descriptor;

constexpr mode_t modeBits = 07777;
constexpr mode_t ownFile = 0600;
constexpr mode_t ownDirectory = 0700;

void copyExtendedAttributes(int from, int to) {
  const ssize_t size = flistxattr(from, nullptr, 0);
  if (size <= 0) return;
  std::vector<char> names(static_cast<std::size_t>(size));
  const ssize_t listed = flistxattr(from, names.data(), names.size());
  for (const char* name = names.data(); name < names.data() + listed;
       name += std::strlen(name) + 1) {
    char value[65536];  // XATTR_SIZE_MAX of Linux
    const ssize_t length = fgetxattr(from, name, value, sizeof value);
    if (length >= 0) fsetxattr(to, name, value, static_cast<std::size_t>(length), 0);
  }
}

int copyAttributes(int from, int to) {
  struct stat status{};
  if (fstat(from, &status) != 0) return errno;
  copyExtendedAttributes(from, to);
  if (fchmod(to, status.st_mode & modeBits) != 0) return errno;
  const timespec times[] = {status.st_atim, status.st_mtim};
  return futimens(to, times) == 0 ? 0 : errno;
}

int copyFile(const char* from, const char* to) {
  const Descriptor source(open(from, O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  struct stat status{};
  if (!source || fstat(source.get(), &status) != 0) return errno;
  const Descriptor target(open(to, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, ownFile));
  if (!target) return errno;
  if (const int code = linux::copyContent(source.get(), status, target.get())) return code;
  return copyAttributes(source.get(), target.get());
}

int copyLink(const char* from, const char* to) {
  char target[PATH_MAX];
  const ssize_t length = readlink(from, target, sizeof target - 1);
  if (length < 0) return errno;
  target[length] = '\0';
  return symlink(target, to) == 0 ? 0 : errno;
}

int copyTree(const char* from, const char* to) {
  if (mkdir(to, ownDirectory) != 0) return errno;
  const std::unique_ptr<DIR, int (*)(DIR*)> directory(opendir(from), closedir);
  if (!directory) return errno;
  while (const dirent* entry = readdir(directory.get())) {
    const std::string name = entry->d_name;
    if (name == "." || name == "..") continue;
    const std::string inside = "/" + name;
    if (const int code = copyItem((from + inside).c_str(), (to + inside).c_str())) return code;
  }
  const Descriptor target(open(to, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  return copyAttributes(dirfd(directory.get()), target.get());
}

}  // namespace

int copyItem(const char* from, const char* to) {
  struct stat status{};
  if (lstat(from, &status) != 0) return errno;
  if (S_ISDIR(status.st_mode)) return copyTree(from, to);
  if (S_ISLNK(status.st_mode)) return copyLink(from, to);
  if (S_ISREG(status.st_mode)) return copyFile(from, to);
  return ENOTSUP;  // copyfile(3): "to copy a file that is not a regular file, directory or link"
}

}  // namespace parlen::harness

extern "C" int copyfile(const char* from, const char* to, copyfile_state_t,
                        copyfile_flags_t flags) {
  using namespace parlen;
  int code = 0;
  if ((flags & (COPYFILE_DATA | COPYFILE_CLONE)) != 0) {
    code = harness::copyItem(from, to);
  } else {
    const posix::Descriptor source(open(from, O_RDONLY | O_CLOEXEC));
    const posix::Descriptor target(open(to, O_RDONLY | O_CLOEXEC));
    code = source && target ? harness::copyAttributes(source.get(), target.get()) : errno;
  }
  errno = code;
  return code == 0 ? 0 : -1;
}

extern "C" int clonefile(const char*, const char*, uint32_t) {
  errno = ENOTSUP;
  return -1;
}
