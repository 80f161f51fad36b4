#include "app/dispatch.h"

#include <array>
#include <memory>
#include <string_view>
#include <utility>

#include "app/command_line.h"
#include "bundle/clone.h"
#include "bundle/status.h"
#include "control/command_reader.h"
#include "events/error_code.h"
#include "events/event_stream.h"
#include "input/gui_input_driver.h"
#include "install/create.h"
#include "platform/platform.h"
#include "runner/run.h"
#include "window/guest_window_controller.h"
#include "window/window_size_check.h"

namespace parlen {

void startUp(std::vector<std::string> words) {
  outputQueue = platform::system().makeSerialQueue("com.parlen.vm.stdout");
  inputDriver.reset();
  guestWindow = std::make_unique<GuestWindowController>();
  terminationSources.clear();
  installProgress.reset();
  arguments = std::move(words);
}

namespace {

// Each takes its options in the order in which a missing one is named.

void create() {
  constexpr std::int64_t defaultDiskGb = 80;
  const std::string ipsw = required("ipsw");
  const std::string bundle = required("bundle");
  const auto diskGb = flag("disk-gb").and_then(parseInteger);
  createVM(ipsw, bundle, diskGb.value_or(defaultDiskGb));
}

void run() {
  RunOptions options;
  options.bundlePath = required("bundle");
  options.shareDirectory = flag("share");
  options.logsShare = flag("logs-share");
  options.gui = has("gui");
  runVM(options, readCommands);
}

void clone() {
  const std::string from = required("from");
  const std::string to = required("to");
  cloneVM(from, to,
          has("regenerate-machine-id") ? MachineIdChoice::regenerate : MachineIdChoice::keep);
}

void status() { statusVM(required("bundle")); }

void checkWindowSize() {
  windowSizeCheck(flag("guest"), flag("scale"), flag("visible"), flag("chrome"));
}

struct Subcommand {
  std::string_view name;
  void (*routine)();
};

constexpr std::array subcommands = {
    Subcommand{"create", create},
    Subcommand{"run", run},
    Subcommand{"clone", clone},
    Subcommand{"status", status},
    Subcommand{"window-size-check", checkWindowSize},
};

}  // namespace

void dispatch() {
  if (arguments.empty()) die(errorCode::badUsage, usage);
  const std::string& word = arguments.front();
  for (const Subcommand& subcommand : subcommands) {
    if (subcommand.name == word) {
      subcommand.routine();
      platform::system().process().trap();  // unreachable: every routine ends the process
    }
  }
  die(errorCode::badUsage, "unknown subcommand '" + word + "'\n" + std::string(usage));
}

}  // namespace parlen
