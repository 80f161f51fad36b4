#pragma once

#include <functional>
#include <memory>
#include <string>

#include "platform/host.h"
#include "platform/simulated/machine.h"
#include "platform/simulated/timers.h"

namespace parlen::simulated {

class Installer : public platform::Installer {
 public:
  Installer(std::shared_ptr<World> world, Machine& machine, std::string restoreImagePath);

  double fractionCompleted() const override { return fraction_; }
  std::unique_ptr<platform::ProgressObservation> observeProgress(
      std::function<void()> changed) override;
  void install(platform::Completion done) override;

 private:
  class Observation;

  /// Reports the fraction `next` of the scenario's list after a pause, or, behind the last one,
  /// how the installation ended.
  void advance(std::size_t next, platform::Completion done);
  void report(double fraction);
  platform::Result<> finish();

  std::shared_ptr<World> world_;
  Machine& machine_;
  std::string restoreImagePath_;
  double fraction_;
  std::weak_ptr<std::function<void()>> observer_;
  Timers timers_;
};

}  // namespace parlen::simulated
