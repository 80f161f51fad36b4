#include "platform/simulated/restoration.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/host.h"
#include "platform/simulated/handles.h"
#include "platform/simulated/machine.h"
#include "platform/simulated/strict_json.h"
#include "text/json_reader.h"

namespace parlen::simulated {
namespace {

struct ImageFile {
  std::int64_t simulatedRestoreImage = 0;
  RestoreImageContent content;
};

template <auto pointer>
Checked intoContent(const Field& field, ImageFile& target) {
  return read(field, target.content.*pointer);
}

Checked readMinimumCPUCount(const Field& field, ImageFile& target) {
  return readCount(field, target.content.minimumCPUCount);
}

}  // namespace

std::expected<RestoreImageContent, std::string> parseRestoreImage(std::string_view bytes) {
  static constexpr auto table = std::to_array<Member<ImageFile>>({
      {"simulatedRestoreImage", into<&ImageFile::simulatedRestoreImage>},
      {"hardwareModel", intoContent<&RestoreImageContent::hardwareModel>},
      {"minimumCPUCount", readMinimumCPUCount},
      {"minimumMemorySize", intoContent<&RestoreImageContent::minimumMemorySize>},
  });
  if (bytes.size() > maxRestoreImageSize) return std::unexpected("it is too long");
  const auto json = text::parseJson(bytes);
  if (!json) return std::unexpected("not JSON: " + text::describe(json.error()));
  ImageFile file;
  if (Checked checked = readMembers<ImageFile>({*json, ""}, table, file); !checked) {
    return std::unexpected(checked.error());
  }
  if (file.simulatedRestoreImage != 1) return std::unexpected("simulatedRestoreImage must be 1");
  return file.content;
}

std::optional<platform::ConfigurationRequirements>
RestoreImage::mostFeaturefulSupportedConfiguration() const {
  if (!content_.hardwareModel || !HardwareModel::isName(*content_.hardwareModel)) return {};
  auto model = std::make_shared<HardwareModel>(world_, *content_.hardwareModel);
  if (!model->isSupported()) return {};
  return platform::ConfigurationRequirements{std::move(model), content_.minimumCPUCount,
                                             content_.minimumMemorySize};
}

namespace {

platform::Result<std::shared_ptr<const platform::RestoreImage>> load(
    const std::shared_ptr<World>& world, const std::string& path) {
  if (const OptionalError& error = world->scenario.restoreImage.error) {
    return std::unexpected(*error);
  }
  const auto bytes = world->system.files().readStart(path, maxRestoreImageSize + 1);
  if (!bytes) return std::unexpected(bytes.error());
  auto content = parseRestoreImage(*bytes);
  if (!content) {
    return error("could not load the restore image " + path +
                 ": it is not one of the simulated host's (" + content.error() + ")");
  }
  return std::make_shared<RestoreImage>(world, path, std::move(*content));
}

class Installer : public platform::Installer {
 public:
  Installer(std::shared_ptr<World> world, Machine& machine, std::string restoreImagePath);

  double fractionCompleted() const override { return fraction_; }
  std::unique_ptr<platform::ProgressObservation> observeProgress(
      std::function<void()> changed) override;
  void install(platform::Completion done) override;

 private:
  class Observation;

  /// After the scenario's pause, reports its fraction `next`, or completes if there is none.
  void advance(std::size_t next, platform::Completion done);
  void report(double fraction);
  platform::Result<> finish();

  std::shared_ptr<World> world_;
  Machine& machine_;
  std::string restoreImagePath_;
  double fraction_;
  std::weak_ptr<std::function<void()>> observer_;
  Timers timers_;
};

/// Owns the observer's callback. The installer has a weak pointer to it, so that destroying the
/// observation ends it.
class Installer::Observation : public platform::ProgressObservation {
 public:
  explicit Observation(std::shared_ptr<std::function<void()>> changed)
      : changed_(std::move(changed)) {}

 private:
  std::shared_ptr<std::function<void()>> changed_;
};

/// The first fraction is the value before the installation starts.
double initialFraction(const std::vector<double>& progress) {
  return progress.empty() ? 0 : progress.front();
}

Installer::Installer(std::shared_ptr<World> world, Machine& machine, std::string restoreImagePath)
    : world_(std::move(world)),
      machine_(machine),
      restoreImagePath_(std::move(restoreImagePath)),
      fraction_(initialFraction(world_->scenario.install.progress)),
      timers_(world_->system.loop()) {}

std::unique_ptr<platform::ProgressObservation> Installer::observeProgress(
    std::function<void()> changed) {
  auto shared = std::make_shared<std::function<void()>>(std::move(changed));
  observer_ = shared;
  (*shared)();
  return std::make_unique<Observation>(std::move(shared));
}

void Installer::install(platform::Completion done) {
  world_->trace.record("installer.install", JsonMembers().addText("path", restoreImagePath_));
  if (!machine_.isUnused()) world_->unmodelled("an installer needs a machine that nothing used");
  machine_.beginInstallation();
  auto room = checkRoomForGuest(world_->system.files(), machine_.configuration());
  if (room) return advance(1, std::move(done));
  timers_.after(std::chrono::milliseconds(0), [done = std::move(done), room] { done(room); });
}

void Installer::advance(std::size_t next, platform::Completion done) {
  timers_.after(world_->scenario.install.stepMs, [this, next, done = std::move(done)] {
    if (next >= world_->scenario.install.progress.size()) return done(finish());
    advance(next + 1, done);
    report(world_->scenario.install.progress[next]);
  });
}

void Installer::report(double fraction) {
  // Only changes are observed.
  if (fraction == std::exchange(fraction_, fraction)) return;
  if (const auto observer = observer_.lock()) (*observer)();
}

platform::Result<> Installer::finish() {
  if (const OptionalError& error = world_->scenario.install.error) return std::unexpected(*error);
  return writeGuest(world_->system.files(), machine_.configuration());
}

}  // namespace

void Restoration::loadRestoreImage(const std::string& path, Loaded done) {
  world_->trace.record("restoreImage.load", JsonMembers().addText("path", path));
  world_->system.loop().postDelayed(
      world_->scenario.restoreImage.loadMs,
      [world = world_, path, done = std::move(done)] { done(load(world, path)); });
}

std::unique_ptr<platform::Installer> Restoration::createInstaller(
    platform::VirtualMachine& machine, const platform::RestoreImage& image) {
  return std::make_unique<Installer>(world_, static_cast<Machine&>(machine), image.path());
}

}  // namespace parlen::simulated
