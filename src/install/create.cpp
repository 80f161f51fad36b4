#include "install/create.h"

#include <algorithm>
#include <optional>
#include <type_traits>
#include <utility>

#include "bundle/configuration.h"
#include "bundle/directory.h"
#include "bundle/settings.h"
#include "bundle/vm_bundle.h"
#include "events/error_code.h"
#include "events/event_stream.h"
#include "platform/platform.h"

namespace parlen {

// Set while an installer runs; see the declaration.
constinit std::unique_ptr<platform::ProgressObservation> installProgress;

namespace {

using platform::Result;
using LoadedImage = Result<std::shared_ptr<const platform::RestoreImage>>;

/// The value, or the end of the process with the host's sentence.
template <class Value>
Value orDie(Result<Value> result) {
  if (!result) die(errorCode::createFailed, result.error().description);
  if constexpr (!std::is_void_v<Value>) return *std::move(result);
}

// --- The bundle ---

/// The disk's length in bytes; one that 64 bits cannot hold is a trap.
std::uint64_t diskLength(std::int64_t diskGb) {
  constexpr unsigned gibibyteShift = 30;
  constexpr std::int64_t limit = std::int64_t{1} << (64U - gibibyteShift);
  if (diskGb < 0 || diskGb >= limit) platform::system().process().trap();
  return static_cast<std::uint64_t>(diskGb) << gibibyteShift;
}

void createDisk(const VMBundle& bundle, std::int64_t diskGb) {
  platform::Files& files = platform::system().files();
  orDie(files.create(bundle.disk(), ""));
  orDie(files.setLength(bundle.disk(), diskLength(diskGb)));
}

VMSettings chosenSettings(const platform::ConfigurationRequirements& requirements,
                          std::int64_t diskGb) {
  // The image's minimum wins over the host's maximum: the validation then says what does not fit.
  return {.macAddress = {},
          .cpuCount = std::max(requirements.minimumCPUCount, defaultCpuCount()),
          .memoryBytes = std::max(requirements.minimumMemorySize, defaultMemoryBytes()),
          .diskGb = diskGb};
}

/// Writes the new bundle member by member; a failure leaves the members before it. What has
/// appeared in a member's place is not touched: it makes the creation fail.
void layOut(const VMBundle& bundle, const platform::ConfigurationRequirements& requirements,
            std::int64_t diskGb) {
  platform::Files& files = platform::system().files();
  platform::GuestIdentities& identities = platform::host().identities();
  VMSettings settings = chosenSettings(requirements, diskGb);

  orDie(files.createDirectory(bundle.share()));
  createDisk(bundle, diskGb);
  orDie(files.create(bundle.hardwareModel(), requirements.hardwareModel->dataRepresentation()));
  orDie(files.create(bundle.machineIdentifier(),
                     identities.newMachineIdentifier()->dataRepresentation()));
  orDie(platform::host().machines().createAuxiliaryStorage(bundle.auxiliaryStorage(),
                                                           *requirements.hardwareModel));
  settings.macAddress = platform::toString(identities.randomMacAddress());
  orDie(saveSettings(settings, bundle, MemberFile::created));
}

/// The configuration with which a run of the bundle will start.
platform::MachineConfiguration validConfiguration(const VMBundle& bundle) {
  auto configuration = orDie(buildConfiguration(bundle, std::nullopt, std::nullopt));
  if (const auto valid = platform::host().machines().validate(configuration); !valid) {
    die(errorCode::createFailed, "invalid VM configuration: " + valid.error().description);
  }
  return configuration;
}

// --- The installer ---

/// Traps for a fraction that is no 64-bit number of percents.
std::int64_t wholePercent(double fraction) {
  constexpr double percents = 100.0;
  constexpr double limit = 9223372036854775808.0;  // 2^63; NaN fails the comparison too
  const double percent = fraction * percents;
  if (!(percent >= -limit && percent < limit)) platform::system().process().trap();
  return static_cast<std::int64_t>(percent);
}

/// Reports the progress if its whole percent is not `lastPercent`. On any thread.
void reportProgress(const platform::Installer& installer, std::int64_t& lastPercent) {
  const std::int64_t percent = wholePercent(installer.fractionCompleted());
  if (percent == lastPercent) return;
  lastPercent = percent;
  emitProgress(installer.fractionCompleted());
}

void finish(const Result<>& result, const VMBundle& bundle) {
  installProgress.reset();
  orDie(result);
  exitAfterReport(emitCreated(bundle.root()));
}

/// One creation, from its loaded image on. Lives until the process ends. Main thread.
class Creation {
 public:
  Creation(std::string ipswPath, std::string bundlePath, std::int64_t diskGb)
      : ipswPath_(std::move(ipswPath)),
        bundlePath_(std::move(bundlePath)),
        bundle_(bundlePath_),
        diskGb_(diskGb) {}

  /// Returns once the installation is under way; its end ends the process, as does every failure.
  void continueWith(const LoadedImage& image);

 private:
  void install(const platform::RestoreImage& image);

  std::string ipswPath_;    // as typed
  std::string bundlePath_;  // as typed
  VMBundle bundle_;
  std::int64_t diskGb_;
  BundleLock lock_;
  std::unique_ptr<platform::VirtualMachine> machine_;
  std::unique_ptr<platform::Installer> installer_;  // uses the machine
};

void Creation::continueWith(const LoadedImage& image) {
  if (!image) die(errorCode::ipswUnreadable, image.error().description);
  const auto requirements = (*image)->mostFeaturefulSupportedConfiguration();
  if (!requirements) {
    die(errorCode::ipswUnsupported, "this host cannot run any configuration in " + ipswPath_);
  }
  lock_ = createLocked(bundle_, bundlePath_, errorCode::createFailed);
  layOut(bundle_, *requirements, diskGb_);
  install(**image);
}

void Creation::install(const platform::RestoreImage& image) {
  machine_ = platform::host().machines().createMachine(validConfiguration(bundle_));
  installer_ = platform::host().restoration().createInstaller(*machine_, image);

  installProgress = installer_->observeProgress(
      [&installer = *installer_, lastPercent = std::int64_t{-1}]() mutable {
        reportProgress(installer, lastPercent);
      });
  emitState("starting");
  installer_->install([this](Result<> result) {
    platform::system().loop().post([this, result = std::move(result)] { finish(result, bundle_); });
  });
}

}  // namespace

void createVM(const std::string& ipswPath, const std::string& bundlePath, std::int64_t diskGb) {
  platform::System& system = platform::system();
  emitReady();
  system.process().failTooLongWrites();
  refuseExisting(VMBundle(bundlePath), bundlePath);
  const std::string image = absolutePath(ipswPath);
  if (!system.files().exists(image)) {
    die(errorCode::ipswMissing, "no restore image at " + ipswPath);
  }

  Creation creation(ipswPath, bundlePath, diskGb);
  platform::host().restoration().loadRestoreImage(image, [&system, &creation](LoadedImage loaded) {
    system.loop().post([&creation, loaded = std::move(loaded)] { creation.continueWith(loaded); });
  });
  if (const auto served = system.loop().run(); !served) {
    die(errorCode::createFailed, served.error().description);
  }
  system.process().exit(0);
}

}  // namespace parlen
