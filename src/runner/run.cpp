#include "runner/run.h"

#include "bundle/configuration.h"
#include "bundle/vm_bundle.h"
#include "events/die.h"
#include "events/error_code.h"
#include "events/event_stream.h"
#include "platform/platform.h"
#include "runner/termination.h"

namespace parlen {
namespace {

[[noreturn]] void invalid(const platform::PlatformError& error) {
  die(errorCode::bootFailed, "invalid VM configuration: " + error.description);
}

std::unique_ptr<platform::VirtualMachine> createMachine(const VMBundle& bundle,
                                                        const RunOptions& options) {
  const auto configuration = buildConfiguration(bundle, options.shareDirectory, options.logsShare);
  if (!configuration) invalid(configuration.error());
  platform::MachineFactory& machines = platform::host().machines();
  if (const auto valid = machines.validate(*configuration); !valid) invalid(valid.error());
  return machines.createMachine(*configuration);
}

/// Nothing on the desktop; the guest runs in the background until it is shown on request.
void goHeadless() {
  platform::Application& application = platform::host().application();
  application.setActivationPolicy(platform::ActivationPolicy::prohibited);
  application.disableAutomaticTermination("a Background Desktop is running");
}

}  // namespace

void runVM(const RunOptions& options, const CommandReader& readCommands) {
  emitReady();
  const VMBundle bundle(options.bundlePath);
  if (!bundle.exists()) die(errorCode::bundleMissing, "no VM bundle at " + options.bundlePath);

  const auto runner = std::make_shared<VMRunner>(createMachine(bundle, options));
  readCommands(runner);
  installTerminationHandlers(*runner);
  runner->start();
  goHeadless();
  platform::host().application().run();
  platform::system().process().exit(0);
}

}  // namespace parlen
