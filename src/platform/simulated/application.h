#pragma once

#include <memory>
#include <string_view>
#include <utility>

#include "platform/application.h"
#include "platform/simulated/world.h"

namespace parlen::simulated {

class Application : public platform::Application {
 public:
  explicit Application(std::shared_ptr<World> world) : world_(std::move(world)) {}

  void setActivationPolicy(platform::ActivationPolicy policy) override;
  void disableAutomaticTermination(std::string_view reason) override;
  void run() override;

 private:
  std::shared_ptr<World> world_;
};

}  // namespace parlen::simulated
