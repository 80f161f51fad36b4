#pragma once

#include <cstdint>
#include <memory>

#include "bundle/vm_bundle.h"
#include "platform/host.h"

namespace parlen {

/// Keeps the observation of the installer's progress alive while it runs; null otherwise.
extern std::unique_ptr<platform::ProgressObservation> installProgress;

/// One installation: lays out a new bundle and lets the host put a guest onto its disk.
class Installation {
 public:
  /// Returns once the installation is under way; its end ends the process, as does every failure.
  /// What was made of the bundle by then stays. Main thread, once.
  void install(const platform::RestoreImage& image,
               const platform::ConfigurationRequirements& requirements, const VMBundle& bundle,
               std::int64_t diskGb);

 private:
  // The installer uses the machine, so it goes first.
  std::unique_ptr<platform::VirtualMachine> machine_;
  std::unique_ptr<platform::Installer> installer_;
};

}  // namespace parlen
