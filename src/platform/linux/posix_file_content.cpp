#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "platform/linux/descriptor.h"
#include "platform/linux/error.h"
#include "platform/linux/posix_files.h"

namespace parlen::linux {
namespace {

using platform::Result;

// No file may block the open, become a controlling terminal or leak into a child.
constexpr int safely = O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
constexpr int creating = O_WRONLY | O_CREAT | O_TRUNC | safely;
constexpr mode_t fileMode = 0666;

struct RegularFile {
  Descriptor descriptor;
  std::uint64_t length = 0;
};

Result<RegularFile> openRegular(const std::string& path, int access, std::string_view attempt) {
  Descriptor file(open(path.c_str(), access | safely));
  struct stat status{};
  if (!file || fstat(file.get(), &status) != 0) return failure(attempt, errno);
  if (S_ISDIR(status.st_mode)) return failure(attempt, EISDIR);
  if (!S_ISREG(status.st_mode)) return failure(attempt, EINVAL, "Not a regular file");
  return RegularFile{std::move(file), static_cast<std::uint64_t>(status.st_size)};
}

/// Reads up to `most` bytes. The length is a hint only: a file may grow, and those in /proc have
/// none.
Result<std::string> readUpTo(const RegularFile& file, std::size_t most, std::string_view attempt) {
  std::string content;
  std::size_t used = 0;
  std::size_t room = static_cast<std::size_t>(std::min<std::uint64_t>(file.length + 1, most));
  while (used < most) {
    content.resize(room);
    const ssize_t count =
        ::read(file.descriptor.get(), content.data() + used, content.size() - used);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return failure(attempt, errno);
    if (count == 0) break;
    used += static_cast<std::size_t>(count);
    if (used == room) room = std::min(most, 2 * room + 4096);
  }
  content.resize(used);
  return content;
}

Result<> writeAndClose(Descriptor file, std::string_view bytes, std::string_view attempt) {
  if (const int code = posix::writeAll(file.get(), bytes)) return failure(attempt, code);
  if (!file.close()) return failure(attempt, errno);
  return {};
}

class OpenFile final : public platform::AppendingFile {
 public:
  explicit OpenFile(Descriptor descriptor) : descriptor_(std::move(descriptor)) {}
  void append(std::string_view bytes) override { posix::writeAll(descriptor_.get(), bytes); }

 private:
  Descriptor descriptor_;
};

}  // namespace

Result<std::string> PosixFiles::read(const std::string& path) const {
  const std::string attempt = "read the file " + path;
  const Result<RegularFile> file = openRegular(path, O_RDONLY, attempt);
  if (!file) return std::unexpected(file.error());
  if (file->length > longestRead) return failure(attempt, EFBIG);
  Result<std::string> content = readUpTo(*file, longestRead + 1, attempt);
  if (content && content->size() > longestRead) return failure(attempt, EFBIG);
  return content;
}

Result<std::string> PosixFiles::readStart(const std::string& path, std::size_t most) const {
  const std::string attempt = "read the file " + path;
  const Result<RegularFile> file = openRegular(path, O_RDONLY, attempt);
  if (!file) return std::unexpected(file.error());
  return readUpTo(*file, most, attempt);
}

Result<> PosixFiles::write(const std::string& path, std::string_view bytes) {
  const std::string attempt = "write the file " + path;
  Descriptor file(open(path.c_str(), creating, fileMode));
  if (!file) return failure(attempt, errno);
  return writeAndClose(std::move(file), bytes, attempt);
}

Result<> PosixFiles::writeStart(const std::string& path, std::string_view bytes) {
  const std::string attempt = "write the file " + path;
  Result<RegularFile> file = openRegular(path, O_WRONLY, attempt);
  if (!file) return std::unexpected(file.error());
  return writeAndClose(std::move(file->descriptor), bytes, attempt);
}

Result<std::unique_ptr<platform::AppendingFile>> PosixFiles::createForAppending(
    const std::string& path) {
  Descriptor file(open(path.c_str(), creating | O_APPEND, fileMode));
  if (!file) return failure("create the file " + path, errno);
  return std::make_unique<OpenFile>(std::move(file));
}

void PosixFiles::createEmptyFile(const std::string& path) {
  const Descriptor file(open(path.c_str(), creating, fileMode));
}

}  // namespace parlen::linux
