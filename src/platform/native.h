#pragma once

#include <memory>
#include <string_view>

#include "platform/error.h"
#include "platform/platform.h"

namespace parlen::platform {

/// The operating system that the program was built for. The folder of exactly one of them is
/// linked.
class NativePlatform {
 public:
  virtual ~NativePlatform() = default;
  virtual System& system() = 0;
  /// The word that names this system's host in the environment: "qemu", "macos".
  virtual std::string_view hostName() const = 0;
  /// The host that runs real guests. Cheap: nothing is probed before it is asked for. What it has
  /// to say beside its results goes to `warn`, on the main thread.
  virtual std::unique_ptr<Host> makeHost(WarningSink warn) = 0;
  /// Whether that host's windows have a picture also for a machine that another host has made.
  virtual bool showsForeignMachines() const { return false; }
};

/// Called once, first thing in `main`.
std::unique_ptr<NativePlatform> makeNativePlatform();

}  // namespace parlen::platform
