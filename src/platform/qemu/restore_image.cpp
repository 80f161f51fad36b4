#include "platform/qemu/restore_image.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <expected>
#include <string>
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

constexpr const char* rawFormat = "raw";

FileStamp stampFrom(const struct stat& status) {
  return {.device = status.st_dev,
          .inode = status.st_ino,
          .length = status.st_size,
          .modified = status.st_mtim};
}

std::string attemptToRead(const std::string& path) { return "read the restore image " + path; }

platform::Result<posix::Descriptor> openImage(const std::string& path) {
  // O_NONBLOCK: opening a FIFO does not wait for its other end.
  posix::Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  if (!file) return linux::error(attemptToRead(path), errno);
  return file;
}

/// The bytes of the range, fewer at the end of the file. The error is an errno value.
std::expected<std::string, int> read(const posix::Descriptor& file, Qcow2Walk::Range range) {
  std::string bytes(range.length, '\0');
  std::size_t done = 0;
  while (done < bytes.size()) {
    const auto at = static_cast<off_t>(range.offset + done);
    const ssize_t count = ::pread(file.get(), bytes.data() + done, bytes.size() - done, at);
    if (count < 0 && errno != EINTR) return std::unexpected(errno);
    if (count == 0) break;
    if (count > 0) done += static_cast<std::size_t>(count);
  }
  bytes.resize(done);
  return bytes;
}

}  // namespace

std::optional<FileStamp> stampOf(const std::string& path) {
  struct stat status{};
  if (::stat(path.c_str(), &status) != 0) return std::nullopt;
  return stampFrom(status);
}

std::optional<platform::ConfigurationRequirements>
RestoreImage::mostFeaturefulSupportedConfiguration() const {
  if (!platform_) return std::nullopt;
  return platform::ConfigurationRequirements{
      .hardwareModel = std::make_shared<HardwareModel>(*platform_),
      .minimumCPUCount = 1,
      .minimumMemorySize = 0};
}

platform::Result<ImageHeader> readImageHeader(const std::string& path) {
  const std::string attempt = attemptToRead(path);
  const auto file = openImage(path);
  if (!file) return std::unexpected(file.error());
  struct stat status{};
  if (::fstat(file->get(), &status) != 0) return linux::error(attempt, errno);
  if (S_ISDIR(status.st_mode)) return linux::error(attempt, EISDIR);
  if (!S_ISREG(status.st_mode)) return error("could not " + attempt + ": it is not a file");

  auto bytes = read(*file, {.offset = 0, .length = imageHeaderLength});
  if (!bytes) return linux::error(attempt, bytes.error());
  return ImageHeader{.bytes = *std::move(bytes), .stamp = stampFrom(status)};
}

ImageExamination::ImageExamination(linux::EventLoop& loop, std::string path,
                                   std::optional<GuestPlatform> platform,
                                   std::function<void(Found)> done)
    : loop_(loop), path_(std::move(path)), platform_(std::move(platform)), done_(std::move(done)) {}

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
void ImageExamination::ask(std::vector<std::string> arguments, Subprocess::ExitHandler answered,
                           Descriptors descriptors) {
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
                                .descriptors = std::move(descriptors)},
                               std::move(answered));
  if (!run) return finish(std::unexpected(std::move(run).error()));
  run_ = *std::move(run);
}

void ImageExamination::onFormat(const SubprocessExit& exit) {
  if (!exit.succeeded()) return reject("cannot be read: " + exit.reason());
  const auto format = usableFormat(output_);
  if (!format) return reject(format.error());
  format_ = *format;
  diskLength_ = virtualSize(output_);
  // qemu-img takes a file of no known format for a raw image.
  if (format_ != rawFormat) return askWhetherWhole();
  if (!looksLikeDisk(header_.bytes)) return reject("is not a disk image");
  if (requiredLength(header_.bytes) > length()) return rejectEnd();
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

/// The check notices a missing end only in QED, and there only whole sectors: to QEMU, a part of a
/// sector is a whole one.
void ImageExamination::askWhereDataEnds() {
  constexpr std::uint64_t sectorLength = 512;
  if (format_ == "qcow2") return walkTables();
  if (format_ == "qed") return length() % sectorLength == 0 ? askForDiskHeader() : rejectEnd();
  ask({"map", "--output=json", "-f", format_, "--", fileNode(path_)},
      [this](const SubprocessExit& exit) { onMap(exit); });
}

void ImageExamination::onMap(const SubprocessExit& exit) {
  const auto end = exit.succeeded() ? endOfData(output_) : std::nullopt;
  if (!end) return reject("cannot be checked: " + exit.reason());
  if (*end > length()) return rejectEnd();
  askForDiskHeader();
}

/// `qemu-img map` does not tell where compressed clusters are, and `qemu-img check` tells the end
/// of an image in whole clusters, which complete images need not fill.
void ImageExamination::walkTables() {
  auto walk = Qcow2Walk::begin(header_.bytes);
  auto file = openImage(path_);
  if (!file) return finish(std::unexpected(std::move(file).error()));
  if (!walk) return reject("cannot be checked: its header is not known");
  walk_ = std::make_shared<TableWalk>(*std::move(file), *std::move(walk));
  readTable();
}

/// One table in each loop iteration: a large disk has many.
void ImageExamination::readTable() {
  Qcow2Walk& tables = walk_->tables;
  if (tables.end() > length()) return rejectEnd();
  const auto range = tables.next();
  if (!range) return askForDiskHeader();
  const auto table = read(walk_->file, *range);
  if (!table) return finish(linux::error(attemptToRead(path_), table.error()));
  tables.add(*table);
  loop_.post([this, alive = std::weak_ptr(walk_)] {
    if (!alive.expired()) readTable();
  });
}

/// A disk that lost its end before it was put into the image: all of the image is there. qemu-img
/// writes to files only.
void ImageExamination::askForDiskHeader() {
  constexpr int inChild = 3;
  diskHeader_ = posix::Descriptor(::memfd_create("disk header", MFD_CLOEXEC));
  if (!diskHeader_) return finish(linux::error(attemptToRead(path_), errno));
  ask({"dd", "-f", format_, "-O", rawFormat, "bs=" + std::to_string(imageHeaderLength), "count=1",
       "if=" + fileNode(path_), "of=/proc/self/fd/" + std::to_string(inChild)},
      [this](const SubprocessExit& exit) { onDiskHeader(exit); }, {{inChild, diskHeader_.get()}});
}

void ImageExamination::onDiskHeader(const SubprocessExit& exit) {
  if (!exit.succeeded()) return reject("cannot be read: " + exit.reason());
  const auto header = read(diskHeader_, {.offset = 0, .length = imageHeaderLength});
  if (!header) return finish(linux::error(attemptToRead(path_), header.error()));
  if (requiredLength(*header) > diskLength_) return rejectEnd();
  accept();
}

void ImageExamination::accept() {
  finish(std::make_shared<const RestoreImage>(path_, format_, header_.stamp, platform_));
}

void ImageExamination::reject(const std::string& predicate) {
  finish(error("the restore image " + path_ + " " + predicate));
}

void ImageExamination::rejectEnd() { reject("is damaged: the end of its data is missing"); }

void ImageExamination::finish(Found found) {
  loop_.post([done = std::exchange(done_, nullptr), found = std::move(found)] { done(found); });
}

}  // namespace parlen::qemu
