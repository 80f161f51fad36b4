#include "runner/run.h"

#include <array>
#include <utility>

#include "bundle/configuration.h"
#include "bundle/vm_bundle.h"
#include "events/error_code.h"
#include "events/event_stream.h"
#include "platform/platform.h"
#include "window/guest_window.h"
#include "window/guest_window_controller.h"

namespace parlen {

// Filled by a run; see the declaration.
constinit std::vector<std::unique_ptr<platform::SignalSource>> terminationSources;

namespace {

[[noreturn]] void invalid(const platform::PlatformError& error) {
  die(errorCode::bootFailed, "invalid VM configuration: " + error.description);
}

platform::MachineConfiguration validConfiguration(const VMBundle& bundle,
                                                  const RunOptions& options) {
  auto configuration = buildConfiguration(bundle, options.shareDirectory, options.logsShare);
  if (!configuration) invalid(configuration.error());
  const auto valid = platform::host().machines().validate(*configuration);
  if (!valid) invalid(valid.error());
  return *std::move(configuration);
}

/// The desktop, for a run with a window. If it cannot be opened, the run ends as if the machine had
/// failed to start: --gui never runs a guest that nobody sees.
platform::WindowSystem& openWindowSystem() {
  const auto windows = platform::host().windowSystem();
  if (windows) return **windows;
  emitError(errorCode::bootFailed, windows.error().description);
  emitStopped(/*crashed=*/true, windows.error().description);
  platform::system().process().exit(1);
}

/// From now on SIGTERM and SIGINT stop the runner's machine hard, whatever it is doing. `runner`
/// must live as long as the process.
void installTerminationHandlers(VMRunner& runner) {
  constexpr std::array signals = {platform::TerminationSignal::terminate,
                                  platform::TerminationSignal::interrupt};
  for (const platform::TerminationSignal signal : signals) {
    terminationSources.push_back(
        platform::system().process().watchSignal(signal, [&runner] { runner.forceStop(); }));
  }
}

/// Keeps the process off the desktop; a `window` command shows the guest later.
void goHeadless(platform::VirtualMachine& machine) {
  platform::Application& application = platform::host().application();
  application.setActivationPolicy(platform::ActivationPolicy::prohibited);
  application.disableAutomaticTermination("a Background Desktop is running");
  guestWindow->virtualMachine = &machine;
}

}  // namespace

void runVM(const RunOptions& options, const CommandReader& readCommands) {
  emitReady();
  const VMBundle bundle(options.bundlePath);
  if (!bundle.exists()) die(errorCode::bundleMissing, "no VM bundle at " + options.bundlePath);

  const auto configuration = validConfiguration(bundle, options);
  platform::WindowSystem* windows = options.gui ? &openWindowSystem() : nullptr;
  const auto runner =
      std::make_shared<VMRunner>(platform::host().machines().createMachine(configuration));
  readCommands(runner);
  installTerminationHandlers(*runner);
  runner->start();
  std::unique_ptr<platform::Window> window;  // kept on screen; null if headless
  if (windows != nullptr) {
    window = presentWindow(*windows, runner->machine(), "Parlen VM — " + bundle.name());
  } else {
    goHeadless(runner->machine());
  }
  platform::host().application().run();
  platform::system().process().exit(0);
}

}  // namespace parlen
