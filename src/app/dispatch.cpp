#include "app/dispatch.h"

#include <array>
#include <memory>
#include <span>
#include <string_view>
#include <utility>

#include "app/command_line.h"
#include "app/subcommands.h"
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

// What each subcommand reads above.

constexpr std::array createOptions = {
    Option{"ipsw", OptionValue::file, "the restore image"},
    Option{"bundle", OptionValue::directory, "the new guest"},
    Option{"disk-gb", OptionValue::number, "the size of its disk in GiB"},
};

constexpr std::array runOptions = {
    Option{"bundle", OptionValue::directory, "the guest"},
    Option{"gui", OptionValue::none, "show it in a window"},
    Option{"share", OptionValue::directory, "a folder that it may read"},
    Option{"logs-share", OptionValue::directory, "a folder that it may write"},
};

constexpr std::array cloneOptions = {
    Option{"from", OptionValue::directory, "the guest to copy"},
    Option{"to", OptionValue::directory, "the new guest"},
    Option{"regenerate-machine-id", OptionValue::none, "give the copy an identifier of its own"},
};

constexpr std::array statusOptions = {Option{"bundle", OptionValue::directory, "the guest"}};

constexpr std::array windowSizeOptions = {
    Option{"visible", OptionValue::text, ""},
    Option{"guest", OptionValue::text, ""},
    Option{"scale", OptionValue::number, ""},
    Option{"chrome", OptionValue::number, ""},
};

constexpr std::array table = {
    Subcommand{"create", "create a guest from a restore image", createOptions, create},
    Subcommand{"run", "start a guest", runOptions, run},
    Subcommand{"clone", "copy a guest", cloneOptions, clone},
    Subcommand{"status", "report on a guest", statusOptions, status},
    Subcommand{"window-size-check", "", windowSizeOptions, checkWindowSize},
};

}  // namespace

std::span<const Subcommand> subcommands() { return table; }

void dispatch() {
  if (arguments.empty()) die(errorCode::badUsage, usage);
  const std::string& word = arguments.front();
  for (const Subcommand& subcommand : table) {
    if (subcommand.name == word) {
      subcommand.routine();
      platform::system().process().trap();  // unreachable: every routine ends the process
    }
  }
  die(errorCode::badUsage, "unknown subcommand '" + word + "'\n" + std::string(usage));
}

}  // namespace parlen
