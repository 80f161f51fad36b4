#include "platform/qemu/restore_image.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>
#include <utility>

#include "platform/linux/descriptor.h"
#include "platform/linux/error.h"
#include "platform/qemu/error.h"
#include "platform/qemu/guest_platform.h"
#include "platform/qemu/handles.h"
#include "platform/qemu/images.h"

namespace parlen::qemu {
namespace {

constexpr std::string_view rawFormat = "raw";

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
  if (!S_ISREG(status.st_mode)) return error("could not " + attempt + ": it is not a file");

  ImageFront front{.header = std::string(imageHeaderLength, '\0'), .stamp = stampFrom(status)};
  const ssize_t count = ::pread(file.get(), front.header.data(), front.header.size(), 0);
  if (count < 0) return linux::failure(attempt, errno);
  front.header.resize(static_cast<std::size_t>(count));
  return front;
}

ImageExamination::ImageExamination(linux::Loop& loop, std::string path,
                                   std::function<void(Found)> done)
    : loop_(loop), path_(std::move(path)), done_(std::move(done)) {}

void ImageExamination::start() {
  auto front = readImageFront(path_);
  if (!front) return finish(std::unexpected(std::move(front).error()));
  front_ = *std::move(front);
  if (front_.header.empty()) return refuse("is empty");
  if (const auto reason = reachesOutside(front_.header)) return refuse(*reason);
  askForFormat();
}

void ImageExamination::askForFormat() {
  ask({"info", "--output=json", "--", fileNode(path_)},
      [this](const SubprocessExit& exit) { formatKnown(exit); });
}

/// Starts the tool; what it writes is kept, up to a length that no honest answer has.
void ImageExamination::ask(std::vector<std::string> arguments, Subprocess::ExitHandler answered) {
  constexpr std::size_t longestOutput = 64UL * 1024UL * 1024UL;
  output_.clear();
  auto tool = requireProgram(imageTool);
  if (!tool) return finish(std::unexpected(std::move(tool).error()));
  auto run = Subprocess::start(loop_,
                               {.program = *std::move(tool),
                                .arguments = std::move(arguments),
                                .onOutput =
                                    [this](std::string_view bytes) {
                                      if (output_.size() < longestOutput) output_.append(bytes);
                                    },
                                .descriptors = {}},
                               std::move(answered));
  if (!run) return finish(std::unexpected(std::move(run).error()));
  run_ = *std::move(run);
}

void ImageExamination::formatKnown(const SubprocessExit& exit) {
  if (!exit.succeeded()) return refuse("cannot be read: " + exit.reason());
  const auto format = usableFormat(output_);
  if (!format) return refuse(format.error());
  format_ = *format;
  // Whatever has no format of its own is taken for a raw image.
  if (format_ != rawFormat) return askWhetherWhole();
  if (!looksLikeDisk(front_.header)) return refuse("is not a disk image");
  accept();
}

/// A truncated image opens, and its missing end would be read as zeros.
void ImageExamination::askWhetherWhole() {
  ask({"check", "-q", "-f", format_, "--", fileNode(path_)},
      [this](const SubprocessExit& exit) { checked(exit); });
}

void ImageExamination::checked(const SubprocessExit& exit) {
  constexpr int corrupt = 2;
  constexpr int hasLeaks = 3;  // space in the image that nothing uses; the content is whole
  constexpr int hasNoCheck = 63;
  const int status = exit.exit.status.value_or(-1);
  if (status == 0 || status == hasLeaks || status == hasNoCheck) return askWhereDataEnds();
  if (status == corrupt) return refuse("is damaged: " + exit.reason());
  refuse("cannot be checked: " + exit.reason());
}

/// The check of some formats does not look whether the data is there.
void ImageExamination::askWhereDataEnds() {
  if (format_ == "qcow2" || format_ == "qed") return accept();  // theirs does
  ask({"map", "--output=json", "-f", format_, "--", fileNode(path_)},
      [this](const SubprocessExit& exit) { mapped(exit); });
}

void ImageExamination::mapped(const SubprocessExit& exit) {
  const auto end = exit.succeeded() ? endOfData(output_) : std::nullopt;
  if (!end) return refuse("cannot be checked: " + exit.reason());
  if (*end > static_cast<std::uint64_t>(front_.stamp.length)) {
    return refuse("is damaged: the end of its data is missing");
  }
  accept();
}

void ImageExamination::accept() {
  finish(std::make_shared<const RestoreImage>(path_, format_, front_.stamp));
}

void ImageExamination::refuse(const std::string& why) {
  finish(error("the restore image " + path_ + " " + why));
}

void ImageExamination::finish(Found found) {
  loop_.post([done = std::exchange(done_, nullptr), found = std::move(found)] { done(found); });
}

}  // namespace parlen::qemu
