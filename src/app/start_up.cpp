#include "app/start_up.h"

#include <utility>

#include "app/command_line.h"
#include "events/event_stream.h"
#include "install/installation.h"
#include "platform/platform.h"
#include "runner/termination.h"

namespace parlen {

void startUp(std::vector<std::string> words) {
  outputQueue = platform::system().makeSerialQueue("com.parlen.vm.stdout");
  terminationSources.clear();
  installProgress.reset();
  arguments = std::move(words);
}

}  // namespace parlen
