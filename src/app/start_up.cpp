#include "app/start_up.h"

#include <memory>
#include <utility>

#include "app/command_line.h"
#include "events/event_stream.h"
#include "input/gui_input_driver.h"
#include "install/create.h"
#include "platform/platform.h"
#include "runner/run.h"
#include "window/guest_window_controller.h"

namespace parlen {

void startUp(std::vector<std::string> words) {
  outputQueue = platform::system().makeSerialQueue("com.parlen.vm.stdout");
  inputDriver.reset();
  guestWindow = std::make_unique<GuestWindowController>();
  terminationSources.clear();
  installProgress.reset();
  arguments = std::move(words);
}

}  // namespace parlen
