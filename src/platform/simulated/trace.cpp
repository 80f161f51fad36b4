#include "platform/simulated/trace.h"

#include <string>
#include <utility>

namespace parlen::simulated {
namespace {

/// Milliseconds with three decimals, cut off.
std::string milliseconds(std::chrono::nanoseconds time) {
  const auto microseconds = std::chrono::duration_cast<std::chrono::microseconds>(time).count();
  const std::string decimals = std::to_string(microseconds % 1000);
  return std::to_string(microseconds / 1000) + "." + std::string(3 - decimals.size(), '0') +
         decimals;
}

}  // namespace

Trace::Trace(platform::EventLoop& loop, std::chrono::nanoseconds start,
             std::unique_ptr<platform::AppendingFile> file)
    : loop_(loop), start_(start), file_(std::move(file)) {}

void Trace::record(std::string_view call, const JsonMembers& members) {
  if (!file_) return;
  JsonMembers line;
  line.add("ms", milliseconds(loop_.now() - start_)).addText("call", call).addAll(members);
  file_->append(line.object() + "\n");
}

}  // namespace parlen::simulated
