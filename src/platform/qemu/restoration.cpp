#include "platform/qemu/restoration.h"

#include <utility>

#include "platform/qemu/errors.h"
#include "platform/qemu/installer.h"
#include "platform/qemu/machine.h"

namespace parlen::qemu {
namespace {

platform::Result<std::shared_ptr<const DiskAttachment>> firstDisk(
    const platform::VirtualMachine& machine) {
  const auto* ours = dynamic_cast<const Machine*>(&machine);
  if (ours == nullptr || ours->configuration().storageDevices.empty()) {
    return refusal("the machine has no disk");
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
      refusal("the restore image " + restoreImagePath + " has not been loaded");
  if (const auto found = loaded_.find(restoreImagePath); found != loaded_.end()) {
    image = found->second;
  }
  return std::make_unique<Installer>(loop_, std::move(image), firstDisk(machine));
}

}  // namespace parlen::qemu
