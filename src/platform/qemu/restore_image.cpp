#include "platform/qemu/restore_image.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>
#include <utility>

#include "platform/linux/error.h"
#include "platform/posix/descriptor.h"
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

platform::Result<ImageHeader> readImageHeader(const std::string& path) {
  const std::string attempt = "read the restore image " + path;
  // O_NONBLOCK: opening a FIFO does not wait for its other end.
  const posix::Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  if (!file) return linux::error(attempt, errno);
  struct stat status{};
  if (::fstat(file.get(), &status) != 0) return linux::error(attempt, errno);
  if (S_ISDIR(status.st_mode)) return linux::error(attempt, EISDIR);
  if (!S_ISREG(status.st_mode)) return error("could not " + attempt + ": it is not a file");

  ImageHeader header{.bytes = std::string(imageHeaderLength, '\0'), .stamp = stampFrom(status)};
  const ssize_t count = ::pread(file.get(), header.bytes.data(), header.bytes.size(), 0);
  if (count < 0) return linux::error(attempt, errno);
  header.bytes.resize(static_cast<std::size_t>(count));
  return header;
}

ImageExamination::ImageExamination(linux::EventLoop& loop, std::string path,
                                   std::function<void(Found)> done)
    : loop_(loop), path_(std::move(path)), done_(std::move(done)) {}

void ImageExamination::start() {
  auto header = readImageHeader(path_);
  if (!header) return finish(std::unexpected(std::move(header).error()));
  header_ = *std::move(header);
  if (header_.bytes.empty()) return reject("is empty");
  if (const auto reason = reachesOutside(header_.bytes)) return reject(*reason);
  askForFormat();
}

void ImageExamination::askForFormat() {
  ask({"info", "--output=json", "--", fileNode(path_)},
      [this](const SubprocessExit& exit) { onFormat(exit); });
}

/// Runs qemu-img and keeps what it prints, up to a length that no real output has.
void ImageExamination::ask(std::vector<std::string> arguments, Subprocess::ExitHandler answered) {
  constexpr std::size_t maxOutput = 64UL * 1024UL * 1024UL;
  output_.clear();
  auto tool = requireProgram(imageTool);
  if (!tool) return finish(std::unexpected(std::move(tool).error()));
  auto run = Subprocess::start(loop_,
                               {.program = *std::move(tool),
                                .arguments = std::move(arguments),
                                .onOutput =
                                    [this](std::string_view bytes) {
                                      if (output_.size() < maxOutput) output_.append(bytes);
                                    },
                                .descriptors = {}},
                               std::move(answered));
  if (!run) return finish(std::unexpected(std::move(run).error()));
  run_ = *std::move(run);
}

void ImageExamination::onFormat(const SubprocessExit& exit) {
  if (!exit.succeeded()) return reject("cannot be read: " + exit.reason());
  const auto format = usableFormat(output_);
  if (!format) return reject(format.error());
  format_ = *format;
  // qemu-img takes a file of no known format for a raw image.
  if (format_ != rawFormat) return askWhetherWhole();
  if (!looksLikeDisk(header_.bytes)) return reject("is not a disk image");
  accept();
}

/// qemu-img opens a truncated image and reads its missing end as zeros.
void ImageExamination::askWhetherWhole() {
  ask({"check", "-q", "-f", format_, "--", fileNode(path_)},
      [this](const SubprocessExit& exit) { onCheck(exit); });
}

void ImageExamination::onCheck(const SubprocessExit& exit) {
  // QEMU docs/tools/qemu-img.rst, "check": exit status.
  constexpr int corrupt = 2;
  constexpr int hasLeaks = 3;     // unused clusters; the content is complete
  constexpr int hasNoCheck = 63;  // the format has no check
  const int status = exit.exit.status.value_or(-1);
  if (status == 0 || status == hasLeaks || status == hasNoCheck) return askWhereDataEnds();
  if (status == corrupt) return reject("is damaged: " + exit.reason());
  reject("cannot be checked: " + exit.reason());
}

/// The checks of some formats do not notice missing data.
void ImageExamination::askWhereDataEnds() {
  if (format_ == "qcow2" || format_ == "qed") return accept();  // their checks do
  ask({"map", "--output=json", "-f", format_, "--", fileNode(path_)},
      [this](const SubprocessExit& exit) { onMap(exit); });
}

void ImageExamination::onMap(const SubprocessExit& exit) {
  const auto end = exit.succeeded() ? endOfData(output_) : std::nullopt;
  if (!end) return reject("cannot be checked: " + exit.reason());
  if (*end > static_cast<std::uint64_t>(header_.stamp.length)) {
    return reject("is damaged: the end of its data is missing");
  }
  accept();
}

void ImageExamination::accept() {
  finish(std::make_shared<const RestoreImage>(path_, format_, header_.stamp));
}

void ImageExamination::reject(const std::string& predicate) {
  finish(error("the restore image " + path_ + " " + predicate));
}

void ImageExamination::finish(Found found) {
  loop_.post([done = std::exchange(done_, nullptr), found = std::move(found)] { done(found); });
}

}  // namespace parlen::qemu
