#include "simulated/machine_story.h"

#include <array>

namespace parlen::test {

void MachineStoryTest::given(const std::string& scenario) {
  useScenario(scenario);
  use(installedGuest());
}

void MachineStoryTest::use(const platform::MachineConfiguration& configuration) {
  machine_ = host().machines().createMachine(configuration);
  machine_->setDelegate(this);
}

std::string MachineStoryTest::requestStop() {
  const auto asked = machine_->requestStop();
  return asked ? "asked" : asked.error().description;
}

std::string MachineStoryTest::state() const {
  constexpr std::array words = {"stopped",  "running", "paused",   "error",
                                "starting", "pausing", "resuming", "stopping"};
  return words.at(static_cast<std::size_t>(machine_->state()));
}

platform::Completion MachineStoryTest::told(const std::string& what) {
  return [this, what](const platform::Result<>& result) {
    note(result ? what : "not " + what + " (" + result.error().description + ")");
  };
}

void MachineStoryTest::note(const std::string& what) {
  story_.push_back(std::to_string(milliseconds()) + " " + what + ": " + state());
}

}  // namespace parlen::test
