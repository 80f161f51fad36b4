#include "install/installation.h"

#include <algorithm>
#include <optional>
#include <type_traits>
#include <utility>

#include "bundle/configuration.h"
#include "bundle/settings.h"
#include "events/error_code.h"
#include "events/event_stream.h"
#include "platform/platform.h"

namespace parlen {

// Set while an installer runs; see the declaration.
constinit std::unique_ptr<platform::ProgressObservation> installProgress;

namespace {

using platform::PlatformError;
using platform::Result;

[[noreturn]] void fail(const PlatformError& error) {
  die(errorCode::createFailed, error.description);
}

template <class Value>
Value orFail(Result<Value> result) {
  if (!result) fail(result.error());
  if constexpr (!std::is_void_v<Value>) return *std::move(result);
}

/// The disk's length in bytes; one that 64 bits cannot hold aborts.
std::uint64_t diskLength(std::int64_t diskGb) {
  constexpr unsigned gibibyteShift = 30;
  constexpr std::int64_t limit = std::int64_t{1} << (64U - gibibyteShift);
  if (diskGb < 0 || diskGb >= limit) platform::system().process().trap();
  return static_cast<std::uint64_t>(diskGb) << gibibyteShift;
}

void createDisk(const VMBundle& bundle, std::int64_t diskGb) {
  platform::Files& files = platform::system().files();
  files.createEmptyFile(bundle.disk());
  orFail(files.setLength(bundle.disk(), diskLength(diskGb)));
}

VMSettings chosenSettings(const platform::ConfigurationRequirements& requirements,
                          std::int64_t diskGb) {
  // What the image needs wins over the host's maximum: the validation then says what does not fit.
  return {.macAddress = {},
          .cpuCount = std::max(requirements.minimumCPUCount, defaultCpuCount()),
          .memoryBytes = std::max(requirements.minimumMemorySize, defaultMemoryBytes()),
          .diskGb = diskGb};
}

/// Writes the bundle member by member; a failure leaves the members before it.
void layOut(const VMBundle& bundle, const platform::ConfigurationRequirements& requirements,
            std::int64_t diskGb) {
  platform::Files& files = platform::system().files();
  platform::GuestIdentities& identities = platform::host().identities();
  VMSettings settings = chosenSettings(requirements, diskGb);

  orFail(files.createDirectories(bundle.root()));
  orFail(files.createDirectories(bundle.share()));
  createDisk(bundle, diskGb);
  orFail(files.write(bundle.hardwareModel(), requirements.hardwareModel->dataRepresentation()));
  orFail(files.write(bundle.machineIdentifier(),
                     identities.newMachineIdentifier()->dataRepresentation()));
  orFail(platform::host().machines().createAuxiliaryStorage(bundle.auxiliaryStorage(),
                                                            *requirements.hardwareModel));
  settings.macAddress = platform::toString(identities.randomMacAddress());
  orFail(saveSettings(settings, bundle));
}

/// The very configuration that a run of the bundle will use.
platform::MachineConfiguration validatedConfiguration(const VMBundle& bundle) {
  auto configuration = orFail(buildConfiguration(bundle, std::nullopt, std::nullopt));
  if (const auto valid = platform::host().machines().validate(configuration); !valid) {
    die(errorCode::createFailed, "invalid VM configuration: " + valid.error().description);
  }
  return configuration;
}

std::int64_t wholePercent(double fraction) {
  constexpr double percents = 100.0;
  constexpr double limit = 9223372036854775808.0;  // 2^63; NaN fails the comparison too
  const double percent = fraction * percents;
  if (!(percent >= -limit && percent < limit)) platform::system().process().trap();
  return static_cast<std::int64_t>(percent);
}

/// Reports the installer's progress, once for each whole percent that differs from the last.
void reportProgress(const platform::Installer& installer, std::int64_t& lastPercent) {
  const std::int64_t percent = wholePercent(installer.fractionCompleted());
  if (percent == lastPercent) return;
  lastPercent = percent;
  emitProgress(installer.fractionCompleted());
}

void finish(const Result<>& result, const VMBundle& bundle) {
  installProgress.reset();
  if (!result) fail(result.error());
  emitCreated(bundle.root());
  platform::system().process().exit(0);
}

}  // namespace

void Installation::install(const platform::RestoreImage& image,
                           const platform::ConfigurationRequirements& requirements,
                           const VMBundle& bundle, std::int64_t diskGb) {
  layOut(bundle, requirements, diskGb);
  const platform::MachineConfiguration configuration = validatedConfiguration(bundle);
  machine_ = platform::host().machines().createMachine(configuration);
  installer_ = platform::host().restoration().createInstaller(*machine_, image.path());

  installProgress = installer_->observeProgress(
      [&installer = *installer_, lastPercent = std::int64_t{-1}]() mutable {
        reportProgress(installer, lastPercent);
      });
  emitState("starting");
  installer_->install([bundle](Result<> result) {
    platform::system().loop().post(
        [bundle, result = std::move(result)] { finish(result, bundle); });
  });
}

}  // namespace parlen
