#include "platform/simulated/restoration.h"

#include "platform/simulated/handles.h"
#include "platform/simulated/installer.h"
#include "platform/simulated/restore_image.h"

namespace parlen::simulated {
namespace {

class RestoreImage : public platform::RestoreImage {
 public:
  RestoreImage(std::shared_ptr<const World> world, std::string path, RestoreImageContent content)
      : world_(std::move(world)), path_(std::move(path)), content_(std::move(content)) {}

  std::string path() const override { return path_; }

  std::optional<platform::ConfigurationRequirements> mostFeaturefulSupportedConfiguration()
      const override {
    if (!content_.hardwareModel || !HardwareModel::isName(*content_.hardwareModel)) return {};
    auto model = std::make_shared<HardwareModel>(world_, *content_.hardwareModel);
    if (!model->isSupported()) return {};
    return platform::ConfigurationRequirements{std::move(model), content_.minimumCPUCount,
                                               content_.minimumMemorySize};
  }

 private:
  std::shared_ptr<const World> world_;
  std::string path_;
  RestoreImageContent content_;
};

platform::Result<std::shared_ptr<const platform::RestoreImage>> load(
    const std::shared_ptr<World>& world, const std::string& path) {
  if (const OptionalError& error = world->scenario.restoreImage.error) {
    return std::unexpected(*error);
  }
  const auto bytes = world->system.files().readStart(path, longestRestoreImage + 1);
  if (!bytes) return std::unexpected(bytes.error());
  auto content = parseRestoreImage(*bytes);
  if (!content) {
    return std::unexpected(failure("could not load the restore image " + path +
                                   ": it is not one of the simulated host's (" + content.error() +
                                   ")"));
  }
  return std::make_shared<RestoreImage>(world, path, std::move(*content));
}

}  // namespace

void Restoration::loadRestoreImage(const std::string& path, Loaded done) {
  world_->trace.record("restoreImage.load", JsonMembers().addText("path", path));
  world_->system.loop().postDelayed(
      world_->scenario.restoreImage.loadMs,
      [world = world_, path, done = std::move(done)] { done(load(world, path)); });
}

std::unique_ptr<platform::Installer> Restoration::createInstaller(
    platform::VirtualMachine& machine, const std::string& restoreImagePath) {
  return std::make_unique<Installer>(world_, static_cast<Machine&>(machine), restoreImagePath);
}

}  // namespace parlen::simulated
