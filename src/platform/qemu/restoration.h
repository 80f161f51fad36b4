#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/host.h"
#include "platform/linux/loop.h"
#include "platform/qemu/restore_image.h"

namespace parlen::qemu {

/// Restore images are disk images in the formats of qemu-img.
class Restoration : public platform::Restoration {
 public:
  explicit Restoration(linux::Loop& loop) : loop_(loop) {}

  void loadRestoreImage(const std::string& path, Loaded done) override;
  /// An image that has not been loaded, or has changed since, fails to install.
  std::unique_ptr<platform::Installer> createInstaller(
      platform::VirtualMachine& machine, const std::string& restoreImagePath) override;

 private:
  linux::Loop& loop_;
  // By path, for the installation. Never removed: a process loads one image.
  std::vector<std::unique_ptr<ImageExamination>> examinations_;
  std::map<std::string, std::shared_ptr<const RestoreImage>> loaded_;
};

}  // namespace parlen::qemu
