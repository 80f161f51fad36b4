#pragma once

#include <memory>
#include <string>
#include <utility>

#include "platform/host.h"

namespace parlen::macos {

/// Loads and installs restore images of macOS. Main thread. Underlying errors go to the sink.
class Restoration final : public platform::Restoration {
 public:
  explicit Restoration(platform::WarningSink warn) : warn_(std::move(warn)) {}

  void loadRestoreImage(const std::string& path, Loaded done) override;
  /// `machine` is one of this host's.
  std::unique_ptr<platform::Installer> createInstaller(
      platform::VirtualMachine& machine, const platform::RestoreImage& image) override;

 private:
  platform::WarningSink warn_;
};

}  // namespace parlen::macos
