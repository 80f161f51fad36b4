#include "control/command_reader.h"

#include <string_view>

#include "control/commands.h"
#include "control/line_splitter.h"
#include "platform/platform.h"

namespace parlen {
namespace {

void handle(std::string_view chunk, LineSplitter& lines, VMRunner& runner) {
  if (chunk.empty()) return runner.requestStop();  // the end of input; a partial line is dropped
  lines.append(chunk);
  while (const auto line = lines.next()) {
    if (!line->empty()) executeCommand(*line, runner);
  }
}

}  // namespace

platform::Result<> readCommands(const std::shared_ptr<VMRunner>& runner) {
  return platform::system().streams().readInput(
      [weak = std::weak_ptr(runner), lines = LineSplitter()](std::string_view chunk) mutable {
        const auto alive = weak.lock();
        if (alive && alive->takesCommands()) handle(chunk, lines, *alive);
      });
}

}  // namespace parlen
