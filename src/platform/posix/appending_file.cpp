#include "platform/posix/appending_file.h"

#include <fcntl.h>

#include <cerrno>
#include <string_view>
#include <utility>

#include "platform/posix/descriptor.h"

namespace parlen::posix {
namespace {

class OpenFile final : public platform::AppendingFile {
 public:
  explicit OpenFile(Descriptor descriptor) : descriptor_(std::move(descriptor)) {}
  void append(std::string_view bytes) override { writeAll(descriptor_.get(), bytes); }

 private:
  Descriptor descriptor_;
};

}  // namespace

// No file may block the open, become a controlling terminal or leak into a child.
std::expected<std::unique_ptr<platform::AppendingFile>, int> createForAppending(
    const std::string& path) {
  constexpr int flags = O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
  constexpr mode_t mode = 0666;
  Descriptor file(open(path.c_str(), flags, mode));
  if (!file) return std::unexpected(errno);
  return std::make_unique<OpenFile>(std::move(file));
}

}  // namespace parlen::posix
