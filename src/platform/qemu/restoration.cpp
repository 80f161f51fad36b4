#include "platform/qemu/restoration.h"

#include <functional>
#include <optional>
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

/// Where a guest goes.
struct Target {
  std::shared_ptr<const DiskAttachment> disk;
  std::string auxiliaryStorage;  // path
  Firmware firmware;

  Result<> set(Installation installation) const {
    return setInstallation(installation, auxiliaryStorage, firmware);
  }
};

/// Writes a restore image to a guest's disk, with qemu-img. The auxiliary storage says from before
/// the first write until after the last that the installation is unfinished.
class Installer : public platform::Installer {
 public:
  /// If `target` is an error, `install` fails with it.
  Installer(linux::EventLoop& loop, RestoreImage image, platform::Result<Target> target);

  double fractionCompleted() const override { return fraction_; }
  std::unique_ptr<platform::ProgressObservation> observeProgress(
      std::function<void()> changed) override;
  void install(platform::Completion done) override;

 private:
  platform::Result<> startConversion();
  platform::Result<> checkImage() const;
  void onOutput(std::string_view output);
  void setFraction(double fraction);
  void onExit(const SubprocessExit& exit);
  platform::Result<> finish(const SubprocessExit& exit);

  linux::EventLoop& loop_;
  RestoreImage image_;
  platform::Result<Target> target_;
  double fraction_ = 0;
  std::vector<std::weak_ptr<const std::function<void()>>> observers_;
  ConvertProgress progress_;
  platform::Completion done_;
  std::unique_ptr<Subprocess> run_;
};

Installer::Installer(linux::EventLoop& loop, RestoreImage image, Result<Target> target)
    : loop_(loop), image_(std::move(image)), target_(std::move(target)) {}

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
  if (!target_) return std::unexpected(target_.error());
  if (auto examined = checkImage(); !examined) return examined;
  auto tool = requireProgram(imageTool);
  if (!tool) return std::unexpected(std::move(tool).error());
  if (const auto marked = target_->set(Installation::unfinished); !marked) return marked;
  auto run =
      Subprocess::start(loop_,
                        {.program = *std::move(tool),
                         .arguments = {"convert", "-p", "-n", "-f", image_.format(), "-O", "raw",
                                       "--", fileNode(image_.path()), nodeOf(*target_->disk)},
                         .onOutput = [this](std::string_view bytes) { onOutput(bytes); },
                         .descriptors = {}},
                        [this](const SubprocessExit& exit) { onExit(exit); });
  if (!run) return std::unexpected(std::move(run).error());
  run_ = *std::move(run);
  return {};
}

Result<> Installer::checkImage() const {
  if (stampOf(image_.path()) == image_.stamp()) return {};
  return error("the restore image " + image_.path() + " has changed since it was examined");
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
  const auto finished = finish(exit);
  if (finished) setFraction(1);
  done(finished);
}

Result<> Installer::finish(const SubprocessExit& exit) {
  if (exit.succeeded()) {
    // qemu-img opens it by its path, where another one may have come in the meantime.
    if (auto examined = checkImage(); !examined) return examined;
    return target_->set(Installation::finished);
  }
  const std::string attempt =
      "could not write the restore image " + image_.path() + " to " + target_->disk->path() + ": ";
  const bool isImageFree = exit.lastMessage.find("[" + image_.path() + "]") == std::string::npos;
  if (!exit.foundImageInUse()) return error(attempt + exit.reason());
  return error(attempt + (isImageFree ? guestInUse : "another process uses the restore image"));
}

Result<Target> targetOf(const platform::VirtualMachine& machine) {
  const auto* ours = dynamic_cast<const Machine*>(&machine);
  if (ours == nullptr || ours->configuration().storageDevices.empty()) {
    return error("the machine has no disk");
  }
  const platform::MachineConfiguration& configuration = ours->configuration();
  const auto& model = static_cast<const HardwareModel&>(*configuration.hardwareModel);
  const auto& storage = static_cast<const AuxiliaryStorage&>(*configuration.auxiliaryStorage);
  return Target{.disk = std::static_pointer_cast<const DiskAttachment>(
                    configuration.storageDevices.front().attachment),
                .auxiliaryStorage = storage.path(),
                .firmware = model.platform()->firmware};
}

}  // namespace

void Restoration::loadRestoreImage(const std::string& path, Loaded done) {
  const auto platform = newGuestPlatform(thisHost());
  if (!platform) warn_(platform.error().description);
  examinations_.push_back(std::make_unique<ImageExamination>(
      loop_, path, platform ? std::optional(*platform) : std::nullopt, std::move(done)));
  examinations_.back()->start();
}

std::unique_ptr<platform::Installer> Restoration::createInstaller(
    platform::VirtualMachine& machine, const platform::RestoreImage& image) {
  return std::make_unique<Installer>(loop_, static_cast<const RestoreImage&>(image),
                                     targetOf(machine));
}

}  // namespace parlen::qemu
