#include "platform/posix/directory_lock.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <utility>

#include "platform/posix/descriptor.h"

namespace parlen::posix {
namespace {

// The lock belongs to the open directory: closing it unlocks. It is closed on exec, so that no
// child keeps the lock when this process has ended.
class OpenDirectory final : public platform::DirectoryLock {
 public:
  explicit OpenDirectory(Descriptor descriptor) : descriptor_(std::move(descriptor)) {}

 private:
  Descriptor descriptor_;
};

/// 0 or an errno value.
int lockAtOnce(int descriptor, platform::LockKind kind) {
  const int operation = kind == platform::LockKind::exclusive ? LOCK_EX : LOCK_SH;
  while (flock(descriptor, operation | LOCK_NB) != 0) {
    if (errno != EINTR) return errno;
  }
  return 0;
}

}  // namespace

std::expected<std::unique_ptr<platform::DirectoryLock>, int> lockDirectory(
    const std::string& path, platform::LockKind kind) {
  Descriptor directory(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!directory && (errno == EMFILE || errno == ENFILE)) return std::unexpected(errno);
  if (directory && lockAtOnce(directory.get(), kind) == EWOULDBLOCK) return nullptr;
  return std::make_unique<OpenDirectory>(std::move(directory));
}

}  // namespace parlen::posix
