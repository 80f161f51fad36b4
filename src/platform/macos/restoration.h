#pragma once

#include "platform/host.h"

namespace parlen::macos {

class Restoration final : public platform::Restoration {
 public:
  explicit Restoration(platform::WarningSink warn) : warn_(std::move(warn)) {}

  void loadRestoreImage(const std::string& path, Loaded done) override;
  std::unique_ptr<platform::Installer> createInstaller(
      platform::VirtualMachine& machine, const std::string& restoreImagePath) override;

 private:
  platform::WarningSink warn_;
};

}  // namespace parlen::macos
