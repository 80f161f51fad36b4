#include "platform/qemu/restoration.h"

#include <functional>
#include <utility>

#include "platform/qemu/error.h"
#include "platform/qemu/guest_platform.h"
#include "platform/qemu/handles.h"
#include "platform/qemu/images.h"
#include "platform/qemu/machine.h"
#include "platform/qemu/subprocess.h"

namespace parlen::qemu {
namespace {

using platform::Completion;
using platform::Result;

/// Owns the handler, to which the installer has a weak reference.
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

/// Writes a restore image to a guest's disk, with qemu-img.
class Installer : public platform::Installer {
 public:
  /// If `image` or `disk` is an error, `install` fails with it.
  Installer(linux::Loop& loop, platform::Result<std::shared_ptr<const RestoreImage>> image,
            platform::Result<std::shared_ptr<const DiskAttachment>> disk);

  double fractionCompleted() const override { return fraction_; }
  std::unique_ptr<platform::ProgressObservation> observeProgress(
      std::function<void()> changed) override;
  void install(platform::Completion done) override;

 private:
  platform::Result<> startConversion();
  void onOutput(std::string_view output);
  void setFraction(double fraction);
  void onExit(const SubprocessExit& exit);

  linux::Loop& loop_;
  platform::Result<std::shared_ptr<const RestoreImage>> image_;
  platform::Result<std::shared_ptr<const DiskAttachment>> disk_;
  double fraction_ = 0;
  std::vector<std::weak_ptr<const std::function<void()>>> observers_;
  ConvertProgress progress_;
  platform::Completion done_;
  std::unique_ptr<Subprocess> run_;
};

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
    return error("the restore image " + image.path() + " has changed since it was examined");
  }
  auto tool = requireProgram(imageTool);
  if (!tool) return std::unexpected(std::move(tool).error());
  auto run = Subprocess::start(loop_,
                               {.program = *std::move(tool),
                                .arguments = {"convert", "-p", "-n", "-f", image.format(), "-O",
                                              "raw", "--", fileNode(image.path()), nodeOf(**disk_)},
                                .onOutput = [this](std::string_view bytes) { onOutput(bytes); },
                                .descriptors = {}},
                               [this](const SubprocessExit& exit) { onExit(exit); });
  if (!run) return std::unexpected(std::move(run).error());
  run_ = *std::move(run);
  return {};
}

void Installer::onOutput(std::string_view output) {
  for (const double fraction : progress_.add(output)) setFraction(fraction);
}

void Installer::setFraction(double fraction) {
  if (std::exchange(fraction_, fraction) == fraction) return;
  // A handler may end any observation.
  const auto observers = observers_;
  for (const auto& observer : observers) {
    if (const auto changed = observer.lock()) (*changed)();
  }
}

void Installer::onExit(const SubprocessExit& exit) {
  const auto done = std::move(done_);
  if (exit.succeeded()) {
    setFraction(1);
    return done({});
  }
  done(error("could not write the restore image " + (*image_)->path() + " to " + (*disk_)->path() +
             ": " + exit.reason()));
}

platform::Result<std::shared_ptr<const DiskAttachment>> firstDisk(
    const platform::VirtualMachine& machine) {
  const auto* ours = dynamic_cast<const Machine*>(&machine);
  if (ours == nullptr || ours->configuration().storageDevices.empty()) {
    return error("the machine has no disk");
  }
  return std::static_pointer_cast<const DiskAttachment>(
      ours->configuration().storageDevices.front().attachment);
}

}  // namespace

void Restoration::loadRestoreImage(const std::string& path, Loaded done) {
  auto remember = [this, path, done = std::move(done)](ImageExamination::Found found) {
    if (!found) return done(std::unexpected(std::move(found).error()));
    loaded_[path] = *found;
    done(*std::move(found));
  };
  examinations_.push_back(std::make_unique<ImageExamination>(loop_, path, std::move(remember)));
  examinations_.back()->start();
}

std::unique_ptr<platform::Installer> Restoration::createInstaller(
    platform::VirtualMachine& machine, const std::string& restoreImagePath) {
  platform::Result<std::shared_ptr<const RestoreImage>> image =
      error("the restore image " + restoreImagePath + " has not been loaded");
  if (const auto found = loaded_.find(restoreImagePath); found != loaded_.end()) {
    image = found->second;
  }
  return std::make_unique<Installer>(loop_, std::move(image), firstDisk(machine));
}

}  // namespace parlen::qemu
