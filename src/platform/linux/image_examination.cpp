#include "platform/linux/image_examination.h"

#include <utility>

#include "platform/linux/errors.h"
#include "platform/linux/image_header.h"
#include "platform/linux/image_info.h"
#include "platform/linux/image_paths.h"
#include "platform/linux/installation.h"

namespace parlen::qemu {
namespace {

constexpr std::string_view rawFormat = "raw";

}  // namespace

ImageExamination::ImageExamination(posix::Loop& loop, std::string path,
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
  constexpr std::size_t longestOutput = 1024UL * 1024UL;
  auto run = ToolRun::start(loop_, imageTool, {"info", "--output=json", "--", fileNode(path_)},
                            {.output =
                                 [this](std::string_view bytes) {
                                   if (output_.size() < longestOutput) output_.append(bytes);
                                 },
                             .ended = [this](const ToolResult& result) { formatKnown(result); }});
  if (!run) return finish(std::unexpected(std::move(run).error()));
  run_ = *std::move(run);
}

void ImageExamination::formatKnown(const ToolResult& result) {
  if (!result.succeeded()) return refuse("cannot be read: " + result.reason());
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
  auto run = ToolRun::start(loop_, imageTool, {"check", "-q", "-f", format_, "--", fileNode(path_)},
                            {.output = [](std::string_view) {},
                             .ended = [this](const ToolResult& result) { checked(result); }});
  if (!run) return finish(std::unexpected(std::move(run).error()));
  run_ = *std::move(run);
}

void ImageExamination::checked(const ToolResult& result) {
  constexpr int corrupt = 2;
  constexpr int hasLeaks = 3;  // space in the image that nothing uses; the content is whole
  constexpr int hasNoCheck = 63;
  const int status = result.exit.status.value_or(-1);
  if (status == 0 || status == hasLeaks || status == hasNoCheck) return accept();
  if (status == corrupt) return refuse("is damaged: " + result.reason());
  refuse("cannot be checked: " + result.reason());
}

void ImageExamination::accept() {
  finish(std::make_shared<const QemuRestoreImage>(path_, format_, front_.stamp));
}

void ImageExamination::refuse(const std::string& why) {
  finish(refusal("the restore image " + path_ + " " + why));
}

void ImageExamination::finish(Found found) {
  loop_.post([done = std::exchange(done_, nullptr), found = std::move(found)] { done(found); });
}

}  // namespace parlen::qemu
