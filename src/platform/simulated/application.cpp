#include "platform/simulated/application.h"

namespace parlen::simulated {
namespace {

std::string_view word(platform::ActivationPolicy policy) {
  switch (policy) {
    case platform::ActivationPolicy::regular:
      return "regular";
    case platform::ActivationPolicy::prohibited:
      return "prohibited";
  }
  return "";
}

}  // namespace

void Application::setActivationPolicy(platform::ActivationPolicy policy) {
  world_->trace.record("application.setActivationPolicy",
                       JsonMembers().addText("policy", word(policy)));
}

void Application::disableAutomaticTermination(std::string_view reason) {
  world_->trace.record("process.disableAutomaticTermination",
                       JsonMembers().addText("reason", reason));
}

void Application::run() {
  world_->trace.record("application.run");
  world_->system.loop().run();
}

}  // namespace parlen::simulated
