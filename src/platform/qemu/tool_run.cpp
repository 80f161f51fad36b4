#include "platform/qemu/tool_run.h"

#include <utility>

#include "platform/qemu/child_end.h"
#include "platform/qemu/die_with_parent.h"
#include "platform/qemu/errors.h"
#include "platform/qemu/guest_platform.h"

namespace parlen::qemu {

std::string ToolResult::reason() const {
  return lastMessage.empty() ? "it " + describe(exit) : lastMessage;
}

platform::Result<std::unique_ptr<ToolRun>> ToolRun::start(linux::Loop& loop,
                                                          std::string_view program,
                                                          std::vector<std::string> arguments,
                                                          Handlers handlers) {
  std::unique_ptr<ToolRun> run(new ToolRun(program, std::move(handlers.ended)));
  auto spawned = run->spawn(loop, program, std::move(arguments), std::move(handlers.output));
  if (!spawned) return std::unexpected(std::move(spawned).error());
  return run;
}

ToolRun::ToolRun(std::string_view program, std::function<void(const ToolResult&)> ended)
    : messages_(program), ended_(std::move(ended)) {}

platform::Result<> ToolRun::spawn(linux::Loop& loop, std::string_view program,
                                  std::vector<std::string> arguments, OutputPipe::Sink output) {
  const auto path = findProgram(program);
  if (!path) return refusal(std::string(program) + " is not installed");
  auto out = OutputPipe::open(loop, std::move(output));
  if (!out) return std::unexpected(std::move(out).error());
  output_ = *std::move(out);
  auto errors = OutputPipe::open(loop, [this](std::string_view bytes) { messages_.add(bytes); });
  if (!errors) return std::unexpected(std::move(errors).error());
  errors_ = *std::move(errors);

  auto child =
      linux::spawnChild(loop,
                        {.program = *path,
                         .arguments = std::move(arguments),
                         .descriptors = {{1, output_->childEnd()}, {2, errors_->childEnd()}},
                         .newSession = true,
                         .beforeExec = dieWithParent},
                        [this](const linux::ChildExit& exit) { finish(exit); });
  if (!child) return std::unexpected(std::move(child).error());
  child_ = *std::move(child);
  output_->closeChildEnd();
  errors_->closeChildEnd();
  return {};
}

void ToolRun::finish(const linux::ChildExit& exit) {
  output_->drain();
  errors_->drain();
  const ToolResult result{.exit = exit, .lastMessage = messages_.text()};
  const auto ended = std::move(ended_);
  ended(result);
}

}  // namespace parlen::qemu
