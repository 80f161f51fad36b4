#pragma once

#include "platform/application.h"

namespace parlen::macos {

/// The shared application, made by the first call.
class Application final : public platform::Application {
 public:
  void setActivationPolicy(platform::ActivationPolicy policy) override;
  void disableAutomaticTermination(std::string_view reason) override;
  void run() override;
};

}  // namespace parlen::macos
