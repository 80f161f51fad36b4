#include "platform/qemu/installer.h"

#include <utility>

#include "platform/qemu/errors.h"
#include "platform/qemu/image_paths.h"
#include "platform/qemu/installation.h"

namespace parlen::qemu {
namespace {

using platform::Completion;
using platform::Result;

/// Holds the handler; the installer only looks whether it is still there.
class Observation final : public platform::ProgressObservation {
 public:
  explicit Observation(std::shared_ptr<const std::function<void()>> changed)
      : changed_(std::move(changed)) {}

 private:
  std::shared_ptr<const std::function<void()>> changed_;
};

std::string nodeOf(const DiskAttachment& disk) {
  return disk.kind() == DiskKind::file ? fileNode(disk.path()) : deviceNode(disk.path());
}

}  // namespace

Installer::Installer(linux::Loop& loop, Result<std::shared_ptr<const RestoreImage>> image,
                     Result<std::shared_ptr<const DiskAttachment>> disk)
    : loop_(loop), image_(std::move(image)), disk_(std::move(disk)) {}

std::unique_ptr<platform::ProgressObservation> Installer::observeProgress(
    std::function<void()> changed) {
  auto shared = std::make_shared<const std::function<void()>>(std::move(changed));
  observers_.push_back(shared);
  auto observation = std::make_unique<Observation>(shared);
  (*shared)();
  return observation;
}

void Installer::install(Completion done) {
  if (auto started = startConversion(); !started) {
    loop_.post([done = std::move(done), started = std::move(started)] { done(started); });
    return;
  }
  done_ = std::move(done);
}

Result<> Installer::startConversion() {
  if (!image_) return std::unexpected(image_.error());
  if (!disk_) return std::unexpected(disk_.error());
  const RestoreImage& image = **image_;
  if (stampOf(image.path()) != image.stamp()) {
    return refusal("the restore image " + image.path() + " has changed since it was examined");
  }
  auto run = ToolRun::start(loop_, imageTool,
                            {"convert", "-p", "-n", "-f", image.format(), "-O", "raw", "--",
                             fileNode(image.path()), nodeOf(**disk_)},
                            {.output = [this](std::string_view bytes) { progressed(bytes); },
                             .ended = [this](const ToolResult& result) { finished(result); }});
  if (!run) return std::unexpected(std::move(run).error());
  run_ = *std::move(run);
  return {};
}

void Installer::progressed(std::string_view output) {
  for (const double fraction : progress_.add(output)) reached(fraction);
}

void Installer::reached(double fraction) {
  if (std::exchange(fraction_, fraction) == fraction) return;
  // A handler may end any observation.
  const auto observers = observers_;
  for (const auto& observer : observers) {
    if (const auto changed = observer.lock()) (*changed)();
  }
}

void Installer::finished(const ToolResult& result) {
  const auto done = std::move(done_);
  if (result.succeeded()) {
    reached(1);
    return done({});
  }
  done(refusal("could not write the restore image " + (*image_)->path() + " to " +
               (*disk_)->path() + ": " + result.reason()));
}

}  // namespace parlen::qemu
