#pragma once

#include <memory>
#include <string>
#include <utility>

#include "platform/host.h"
#include "platform/simulated/world.h"

namespace parlen::simulated {

class Restoration : public platform::Restoration {
 public:
  explicit Restoration(std::shared_ptr<World> world) : world_(std::move(world)) {}

  void loadRestoreImage(const std::string& path, Loaded done) override;
  std::unique_ptr<platform::Installer> createInstaller(
      platform::VirtualMachine& machine, const std::string& restoreImagePath) override;

 private:
  std::shared_ptr<World> world_;
};

}  // namespace parlen::simulated
