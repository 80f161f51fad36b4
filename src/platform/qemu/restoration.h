#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/host.h"
#include "platform/linux/loop.h"
#include "platform/qemu/restore_image.h"

namespace parlen::qemu {

class Restoration : public platform::Restoration {
 public:
  explicit Restoration(linux::Loop& loop) : loop_(loop) {}

  void loadRestoreImage(const std::string& path, Loaded done) override;
  /// An image that has not been loaded, or has changed since, fails to install.
  std::unique_ptr<platform::Installer> createInstaller(
      platform::VirtualMachine& machine, const std::string& restoreImagePath) override;

 private:
  linux::Loop& loop_;
  // What was found out about an image is needed again for its installation. Nothing is taken away:
  // a process loads one image.
  std::vector<std::unique_ptr<ImageExamination>> examinations_;
  std::map<std::string, std::shared_ptr<const RestoreImage>> loaded_;
};

}  // namespace parlen::qemu
