#include "platform/qemu/qemu_process.h"

#include <signal.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <string_view>
#include <utility>

#include "platform/linux/error.h"
#include "platform/qemu/configuration.h"
#include "platform/qemu/die_with_parent.h"

namespace parlen::qemu {
namespace {

std::string_view fileName(std::string_view path) { return path.substr(path.rfind('/') + 1); }

}  // namespace

platform::Result<std::unique_ptr<QemuProcess>> QemuProcess::start(
    linux::Loop& loop, const std::string& emulator, const std::vector<std::string>& arguments,
    Handlers handlers) {
  std::unique_ptr<QemuProcess> process(new QemuProcess(emulator, std::move(handlers.ended)));
  if (auto spawned = process->spawn(loop, emulator, arguments, std::move(handlers.control));
      !spawned) {
    return std::unexpected(std::move(spawned).error());
  }
  return process;
}

QemuProcess::QemuProcess(const std::string& emulator, std::function<void(const QemuExit&)> ended)
    : messages_(fileName(emulator)), ended_(std::move(ended)) {}

platform::Result<> QemuProcess::spawn(linux::Loop& loop, const std::string& emulator,
                                      const std::vector<std::string>& arguments,
                                      QmpClient::Handlers handlers) {
  std::array<int, 2> ends{};
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
    return linux::failure("make QEMU's control socket", errno);
  }
  linux::Descriptor own(ends[0]);
  const linux::Descriptor child(ends[1]);
  auto output = OutputPipe::open(loop, [this](std::string_view bytes) { messages_.add(bytes); });
  if (!output) return std::unexpected(std::move(output).error());
  output_ = *std::move(output);

  auto started = linux::spawnChild(loop,
                                   {.program = emulator,
                                    .arguments = arguments,
                                    .descriptors = {{1, output_->childEnd()},
                                                    {2, output_->childEnd()},
                                                    {controlDescriptor, child.get()}},
                                    .newSession = true,
                                    .beforeExec = dieWithParent},
                                   [this](const linux::ChildExit& exit) { finish(exit); });
  if (!started) return std::unexpected(std::move(started).error());
  child_ = *std::move(started);
  output_->closeChildEnd();
  control_ = std::make_unique<QmpClient>(loop, std::move(own), std::move(handlers));
  return {};
}

void QemuProcess::kill() { child_->kill(SIGKILL); }

void QemuProcess::finish(const linux::ChildExit& exit) {
  output_->drain();
  control_->drain();
  const QemuExit result{.exit = exit, .lastMessage = messages_.text()};
  const auto ended = std::move(ended_);
  ended(result);
}

}  // namespace parlen::qemu
