#include "platform/posix/files.h"

#include <fcntl.h>

#include <cerrno>
#include <utility>

namespace parlen::posix {
namespace {

constexpr mode_t fileMode = 0666;
// No file may block the open, become a controlling terminal or leak into a child.
constexpr int creating = O_WRONLY | O_CREAT | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;

class OpenFile final : public platform::AppendingFile {
 public:
  explicit OpenFile(Descriptor descriptor) : descriptor_(std::move(descriptor)) {}
  void append(std::string_view bytes) override { writeAll(descriptor_.get(), bytes); }

 private:
  Descriptor descriptor_;
};

}  // namespace

Descriptor openNew(const std::string& path) {
  return Descriptor(open(path.c_str(), creating | O_EXCL, fileMode));
}

Descriptor openForAppending(const std::string& path) {
  return Descriptor(open(path.c_str(), creating | O_TRUNC | O_APPEND, fileMode));
}

int writeAndClose(Descriptor file, std::string_view bytes) {
  if (const int code = writeAll(file.get(), bytes)) return code;
  return file.close() ? 0 : errno;
}

std::expected<std::unique_ptr<platform::AppendingFile>, int> createForAppending(
    const std::string& path) {
  Descriptor file = openForAppending(path);
  if (!file) return std::unexpected(errno);
  return std::make_unique<OpenFile>(std::move(file));
}

}  // namespace parlen::posix
