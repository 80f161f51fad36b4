#include "platform/qemu/restore_image.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "platform/linux/descriptor.h"
#include "platform/linux/error.h"
#include "platform/qemu/errors.h"
#include "platform/qemu/identities.h"
#include "platform/qemu/image_header.h"
#include "platform/qemu/installation.h"

namespace parlen::qemu {
namespace {

FileStamp stampFrom(const struct stat& status) {
  return {.device = status.st_dev,
          .inode = status.st_ino,
          .length = status.st_size,
          .modified = status.st_mtim};
}

}  // namespace

std::optional<FileStamp> stampOf(const std::string& path) {
  struct stat status{};
  if (::stat(path.c_str(), &status) != 0) return std::nullopt;
  return stampFrom(status);
}

std::optional<platform::ConfigurationRequirements>
RestoreImage::mostFeaturefulSupportedConfiguration() const {
  const GuestPlatform* platform = nativeGuestPlatform();
  if (platform == nullptr || !isInstalled(*platform)) return std::nullopt;
  return platform::ConfigurationRequirements{
      .hardwareModel = std::make_shared<HardwareModel>(*platform),
      .minimumCPUCount = 1,
      .minimumMemorySize = 0};
}

platform::Result<ImageFront> readImageFront(const std::string& path) {
  const std::string attempt = "read the restore image " + path;
  // Non-blocking, so that a FIFO is refused instead of waited for.
  const linux::Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  if (!file) return linux::failure(attempt, errno);
  struct stat status{};
  if (::fstat(file.get(), &status) != 0) return linux::failure(attempt, errno);
  if (S_ISDIR(status.st_mode)) return linux::failure(attempt, EISDIR);
  if (!S_ISREG(status.st_mode)) return refusal("could not " + attempt + ": it is not a file");

  ImageFront front{.header = std::string(imageHeaderLength, '\0'), .stamp = stampFrom(status)};
  const ssize_t count = ::pread(file.get(), front.header.data(), front.header.size(), 0);
  if (count < 0) return linux::failure(attempt, errno);
  front.header.resize(static_cast<std::size_t>(count));
  return front;
}

}  // namespace parlen::qemu
