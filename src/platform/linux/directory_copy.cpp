#include "platform/linux/directory_copy.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "platform/linux/descriptor.h"
#include "platform/linux/error.h"
#include "platform/linux/tree_copy.h"

namespace parlen::linux {
namespace {

using platform::Result;

constexpr int pathFlags = O_PATH | O_DIRECTORY | O_CLOEXEC;
constexpr int readFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
constexpr mode_t ownDirectory = 0700;

/// Lets the process have as many descriptors as the system allows, for as long as this lives.
class DescriptorAllowance {
 public:
  DescriptorAllowance() {
    getrlimit(RLIMIT_NOFILE, &before_);
    const rlimit most{before_.rlim_max, before_.rlim_max};
    setrlimit(RLIMIT_NOFILE, &most);
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

/// The path of the directory that holds `path`, which has no trailing slash.
std::string parentOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

std::string withoutTrailingSlashes(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

}  // namespace

Result<> copyDirectoryTree(const std::string& from, const std::string& to) {
  const std::string source = withoutTrailingSlashes(from);
  const std::string target = withoutTrailingSlashes(to);
  const std::string attempt = "copy " + source + " to " + target;
  const DescriptorAllowance allowance;
  Descriptor sourceTop(open(source.c_str(), readFlags));
  struct stat status{};
  if (!sourceTop || fstat(sourceTop.get(), &status) != 0) return failure(attempt, errno);
  Descriptor parent(open(parentOf(target).c_str(), pathFlags));
  if (!parent) return failure(attempt, errno);
  if (liesInside(std::move(parent), status)) {
    return failure(attempt, EINVAL, "The copy would lie inside its source");
  }
  // Fails if there is anything at all, a link that leads nowhere included.
  if (mkdir(target.c_str(), ownDirectory) != 0) return failure(attempt, errno);
  Descriptor targetTop(open(target.c_str(), readFlags | O_NOFOLLOW));
  if (!targetTop) return failure(attempt, errno);
  return TreeCopy(source, target).run(std::move(sourceTop), std::move(targetTop));
}

}  // namespace parlen::linux
