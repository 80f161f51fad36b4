#include "platform/simulated/installer.h"

#include <chrono>
#include <utility>

#include "platform/simulated/guest_files.h"

namespace parlen::simulated {

/// Owns the observer's function; the installer only knows where it is.
class Installer::Observation : public platform::ProgressObservation {
 public:
  explicit Observation(std::shared_ptr<std::function<void()>> changed)
      : changed_(std::move(changed)) {}

 private:
  std::shared_ptr<std::function<void()>> changed_;
};

/// The first of the fractions is the value before the installation.
static double initialFraction(const std::vector<double>& progress) {
  return progress.empty() ? 0 : progress.front();
}

Installer::Installer(std::shared_ptr<World> world, Machine& machine, std::string restoreImagePath)
    : world_(std::move(world)),
      machine_(machine),
      restoreImagePath_(std::move(restoreImagePath)),
      fraction_(initialFraction(world_->scenario.install.progress)),
      timers_(world_->system.loop()) {}

std::unique_ptr<platform::ProgressObservation> Installer::observeProgress(
    std::function<void()> changed) {
  auto shared = std::make_shared<std::function<void()>>(std::move(changed));
  observer_ = shared;
  (*shared)();
  return std::make_unique<Observation>(std::move(shared));
}

void Installer::install(platform::Completion done) {
  world_->trace.record("installer.install", JsonMembers().addText("path", restoreImagePath_));
  if (!machine_.isUnused()) world_->unmodelled("an installer needs a machine that nothing used");
  machine_.beginInstallation();
  auto room = checkRoomForGuest(world_->system.files(), machine_.configuration());
  if (room) return advance(1, std::move(done));
  timers_.after(std::chrono::milliseconds(0), [done = std::move(done), room] { done(room); });
}

void Installer::advance(std::size_t next, platform::Completion done) {
  timers_.after(world_->scenario.install.stepMs, [this, next, done = std::move(done)] {
    if (next >= world_->scenario.install.progress.size()) return done(finish());
    advance(next + 1, done);
    report(world_->scenario.install.progress[next]);
  });
}

void Installer::report(double fraction) {
  // An observation is of changes: a fraction that is repeated is none.
  if (fraction == std::exchange(fraction_, fraction)) return;
  if (const auto observer = observer_.lock()) (*observer)();
}

platform::Result<> Installer::finish() {
  if (const OptionalError& error = world_->scenario.install.error) return std::unexpected(*error);
  return writeGuest(world_->system.files(), machine_.configuration());
}

}  // namespace parlen::simulated
