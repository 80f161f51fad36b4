#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>

#include "control/commands.h"
#include "control/line_splitter.h"
#include "events/event_stream.h"
#include "fuzz.h"
#include "input/gui_input_driver.h"
#include "silent_platform.h"
#include "text/json_reader.h"
#include "window/guest_window_controller.h"

namespace parlen {
namespace {

/// A running machine with a window to type into.
struct Run {
  Run() {
    platform::usePlatform(&system, &host);
    outputQueue = system.makeSerialQueue("");
    guestWindow = std::make_unique<GuestWindowController>();
    guestWindow->virtualMachine = &runner.machine();
    inputDriver =
        std::make_shared<GuiInputDriver>(std::make_shared<fuzz::DetachedView>(), windowSystem);
  }
  ~Run() {
    inputDriver.reset();
    guestWindow.reset();
    outputQueue.reset();
    platform::usePlatform(nullptr, nullptr);
  }

  /// Before `runner`, whose constructor reads the clock.
  struct InUse {
    explicit InUse(platform::System& system) { platform::usePlatform(&system, nullptr); }
  };

  fuzz::SilentSystem system;
  InUse inUse{system};
  fuzz::SilentHost host;
  fuzz::SilentWindowSystem windowSystem;
  VMRunner runner{std::make_unique<fuzz::EndlessMachine>()};
};

/// Every line of the output is a JSON object with a type.
void checkEvents(std::string_view output) {
  while (!output.empty()) {
    const std::string_view line = output.substr(0, output.find('\n'));
    const auto event = text::parseJson(line);
    fuzz::require(event && event->find("type") != nullptr);
    output.remove_prefix(line.size() + 1);
  }
}

/// Adds the lines to those in the folder PARLEN_LINES, where the schemas' test finds them; without
/// the variable it does nothing.
void keepSeen(std::string_view output) {
  const char* folder = std::getenv("PARLEN_LINES");
  if (folder == nullptr) return;
  const std::string path = std::string(folder) + "/event-" + std::to_string(getpid()) + ".jsonl";
  std::ofstream(path, std::ios::app | std::ios::binary) << output;
}

}  // namespace
}  // namespace parlen

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  parlen::Run run;
  parlen::LineSplitter lines;
  lines.append(parlen::fuzz::asText(data, size));
  while (const auto line = lines.next()) parlen::executeCommand(*line, run.runner);
  run.system.loop().run();
  parlen::checkEvents(run.system.streams().output);
  parlen::keepSeen(run.system.streams().output);
  return 0;
}
