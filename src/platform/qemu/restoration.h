#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/host.h"
#include "platform/linux/event_loop.h"
#include "platform/qemu/restore_image.h"

namespace parlen::qemu {

/// Restore images are disk images in the formats of qemu-img.
class Restoration : public platform::Restoration {
 public:
  /// `warn` gets a sentence about what is missing for guests to run.
  Restoration(linux::EventLoop& loop, platform::WarningSink warn)
      : loop_(loop), warn_(std::move(warn)) {}

  void loadRestoreImage(const std::string& path, Loaded done) override;
  /// An image that has changed since it was loaded fails to install.
  std::unique_ptr<platform::Installer> createInstaller(
      platform::VirtualMachine& machine, const platform::RestoreImage& image) override;

 private:
  linux::EventLoop& loop_;
  platform::WarningSink warn_;
  // Kept until the process ends: it loads one image.
  std::vector<std::unique_ptr<ImageExamination>> examinations_;
};

}  // namespace parlen::qemu
