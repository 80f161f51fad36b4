#pragma once

#include <chrono>
#include <cstdint>
#include <expected>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/error.h"
#include "platform/geometry.h"

namespace parlen::simulated {

/// The domain of the host's own errors, and of those in a scenario that name none.
inline constexpr std::string_view errorDomain = "ParlenSimulatedErrorDomain";

/// What a scenario's error is by default.
inline platform::PlatformError defaultError() {
  return {std::string(errorDomain), 1, "simulated failure"};
}

using std::chrono::milliseconds;
using OptionalError = std::optional<platform::PlatformError>;  // nullopt: success

struct HostScenario {
  bool supported = true;
  std::int64_t processorCount = 8;
  std::int64_t minimumCPUCount = 1;
  std::int64_t maximumCPUCount = 8;
  std::uint64_t minimumMemorySize = 134217728;
  std::uint64_t maximumMemorySize = 17179869184;
  std::vector<std::string> hardwareModels = {"sim-1"};
};

struct RestoreImageScenario {
  milliseconds loadMs{0};
  OptionalError error;
};

struct InstallScenario {
  std::vector<double> progress = {0, 0.25, 0.5, 0.75, 1};  // any finite numbers
  milliseconds stepMs{0};
  OptionalError error;
};

struct ConfigurationScenario {
  OptionalError attachError;
  OptionalError validateError;
};

struct MachineScenario {
  milliseconds startMs{0};
  OptionalError startError;
  bool inUse = false;  // the start fails, because another process uses the guest's files
  std::optional<bool> canRequestStop;  // nullopt: by state
  OptionalError requestStopError;
  std::optional<milliseconds> shutdownMs = milliseconds(0);  // nullopt: never
  std::optional<milliseconds> stopMs = milliseconds(0);      // nullopt: never
  OptionalError stopError;
  milliseconds pauseMs{0};
  OptionalError pauseError;
  milliseconds resumeMs{0};
  OptionalError resumeError;
};

inline constexpr std::string_view defaultViewName = "machine-view";

/// A view and its subviews; the outermost one is the machine view.
struct ViewScenario {
  std::string name;
  bool acceptsFirstResponder = true;
  std::vector<ViewScenario> subviews;
};

struct WindowScenario {
  std::optional<platform::Rect> visibleFrame =
      platform::Rect{0, 0, 1440, 875};  // nullopt: no screen
  double chrome = 28;
  std::vector<std::uint16_t> unbuildableKeyCodes;
  ViewScenario views = {std::string(defaultViewName), true, {}};
};

enum class ScriptEvent {
  guestStops,
  stopsWithError,
  networkDisconnects,
  entersErrorState,
  clicksLater,
  clicksDone,
  closesWindow,
  guestPanics,
  diskFills,
  diskHasRoom,
};

struct ScriptEntry {
  milliseconds atMs{0};  // from the call that starts the machine
  ScriptEvent event = ScriptEvent::guestStops;
  platform::PlatformError error = defaultError();  // used by the events that may have one
};

/// The members of a scenario file with their defaults. docs/simulated-host.md describes them.
struct Scenario {
  HostScenario host;
  RestoreImageScenario restoreImage;
  InstallScenario install;
  ConfigurationScenario configuration;
  MachineScenario machine;
  WindowScenario window;
  std::vector<ScriptEntry> script;
};

/// Parses a scenario file. An unknown member or a value of the wrong type is an error, which names
/// the member by its path ("machine.startMs must be …", "unknown member 'machine.start'").
std::expected<Scenario, std::string> parseScenario(std::string_view bytes);

}  // namespace parlen::simulated
