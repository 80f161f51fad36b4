#include "runner/run.h"

#include <array>
#include <type_traits>
#include <utility>

#include "bundle/configuration.h"
#include "bundle/directory.h"
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

/// The value. Without it the run ends as one whose machine has failed to start.
template <class Value>
Value orFailToStart(platform::Result<Value> result) {
  if (!result) {
    emitError(errorCode::bootFailed, result.error().description);
    emitStopped(/*crashed=*/true, result.error().description);
    platform::system().process().exit(1);
  }
  if constexpr (!std::is_void_v<Value>) return *std::move(result);
}

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

/// From now on SIGTERM, SIGINT and a user who quits the application stop the runner's machine hard,
/// whatever it is doing. `runner` must live as long as the process.
void installTerminationHandlers(VMRunner& runner) {
  constexpr std::array signals = {platform::TerminationSignal::terminate,
                                  platform::TerminationSignal::interrupt};
  for (const platform::TerminationSignal signal : signals) {
    terminationSources.push_back(orFailToStart(
        platform::system().process().watchSignal(signal, [&runner] { runner.forceStop(); })));
  }
  platform::host().application().setQuitHandler([&runner] { runner.forceStop(); });
}

/// Starts the machine and shows it in the returned window. Without a desktop the run ends, because
/// --gui never runs a guest that nobody sees; the window is then null.
std::unique_ptr<platform::Window> startInWindow(VMRunner& runner, const std::string& title) {
  const auto windows = platform::host().windowSystem();
  if (!windows) {
    runner.abandonStart(windows.error());
    return nullptr;
  }
  runner.start();
  return presentWindow(**windows, runner.machine(), title);
}

/// Starts the machine and keeps the process off the desktop; a `window` command shows the guest
/// later.
void startHeadless(VMRunner& runner) {
  runner.start();
  platform::Application& application = platform::host().application();
  application.setActivationPolicy(platform::ActivationPolicy::prohibited);
  application.disableAutomaticTermination("a Background Desktop is running");
  guestWindow->virtualMachine = &runner.machine();
}

}  // namespace

void runVM(const RunOptions& options, const CommandReader& readCommands) {
  emitReady();
  const VMBundle bundle(options.bundlePath);
  if (!bundle.exists()) die(errorCode::bundleMissing, "no VM bundle at " + options.bundlePath);
  [[maybe_unused]] const BundleLock lock =
      orFailToStart(lockBundle(bundle, platform::LockKind::exclusive));

  const auto configuration = validConfiguration(bundle, options);
  const auto runner =
      std::make_shared<VMRunner>(platform::host().machines().createMachine(configuration));
  orFailToStart(readCommands(runner));
  installTerminationHandlers(*runner);
  // Until here a signal ends the process without a `stopped` event, so what takes time comes now.
  std::unique_ptr<platform::Window> window;  // kept on screen; null if headless
  if (options.gui) {
    window = startInWindow(*runner, "Parlen VM — " + bundle.name());
  } else {
    startHeadless(*runner);
  }
  const auto served = platform::host().application().run();
  if (!served) runner->didStopWithError(served.error());  // the guest ends with this process
  platform::system().process().exit(0);
}

}  // namespace parlen
