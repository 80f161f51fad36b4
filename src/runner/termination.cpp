#include "runner/termination.h"

#include <array>

#include "platform/platform.h"

namespace parlen {

// Filled by a run; see the declaration.
constinit std::vector<std::unique_ptr<platform::SignalSource>> terminationSources;

void installTerminationHandlers(VMRunner& runner) {
  constexpr std::array signals = {platform::TerminationSignal::terminate,
                                  platform::TerminationSignal::interrupt};
  for (const platform::TerminationSignal signal : signals) {
    terminationSources.push_back(
        platform::system().process().watchSignal(signal, [&runner] { runner.forceStop(); }));
  }
}

}  // namespace parlen
