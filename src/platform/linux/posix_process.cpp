#include "platform/linux/posix_process.h"

#include <utility>

#include "platform/linux/child_start.h"
#include "platform/linux/signal_source.h"

namespace parlen::linux {

std::unique_ptr<platform::SignalSource> PosixProcess::watchSignal(
    platform::TerminationSignal signal, platform::Work handler) {
  return linux::watchSignal(loop_, signal, std::move(handler));
}

platform::Result<int> PosixProcess::runAndWait(const std::string& program,
                                               const std::vector<std::string>& arguments) {
  ChildOptions options;
  options.program = program;
  options.arguments = arguments;
  options.descriptors = {{0, 0}, {1, 1}, {2, 2}};
  const platform::Result<pid_t> child = startChild(options);
  if (!child) return std::unexpected(child.error());
  const ChildExit ended = reapChild(*child);
  return ended.status.value_or(128 + ended.signal);
}

}  // namespace parlen::linux
