#include "platform/qemu/subprocess.h"

#include <fcntl.h>
#include <signal.h>
#include <string.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "platform/linux/error.h"
#include "platform/posix/descriptor.h"

namespace parlen::qemu {
namespace {

using platform::Result;

constexpr std::size_t maxLineLength = 4096;  // the rest of a longer line is left out

std::string_view withoutPrefix(std::string_view line, std::string_view prefix) {
  return line.starts_with(prefix) ? line.substr(prefix.size()) : line;
}

std::string_view fileName(std::string_view path) { return path.substr(path.rfind('/') + 1); }

/// For the child, between fork and exec.
void dieWithParent(int parent) {
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  // The signal is sent only for a parent that ends after the call above.
  if (::getppid() != parent) ::_exit(1);
}

}  // namespace

void LastMessage::add(std::string_view bytes) {
  for (const char byte : bytes) {
    if (byte == '\n' || byte == '\r') {
      endLine();
    } else if (line_.size() < maxLineLength) {
      line_ += byte;
    }
  }
}

std::string LastMessage::text() const {
  LastMessage complete = *this;
  complete.endLine();
  const std::string_view last = withoutPrefix(complete.last_, prefix_);
  const bool isHint = last.size() == complete.last_.size();
  const std::string_view previous = withoutPrefix(complete.previous_, prefix_);
  const bool isError =
      previous.size() < complete.previous_.size() && !previous.starts_with("warning: ");
  if (!isHint || !isError) return std::string(last);
  return std::string(previous).append(" ").append(last);
}

void LastMessage::endLine() {
  if (line_.empty()) return;
  previous_ = std::exchange(last_, std::exchange(line_, {}));
}

bool SubprocessExit::foundImageInUse() const {
  // QEMU block/file-posix.c, raw_check_lock_bytes: Failed to get [shared ]"write" lock
  const std::size_t attempt = lastMessage.find("Failed to get ");
  return attempt != std::string::npos && lastMessage.find("\" lock", attempt) != std::string::npos;
}

std::string SubprocessExit::reason() const {
  if (foundImageInUse()) return "another process uses it";
  return lastMessage.empty() ? "it " + describe(exit) : lastMessage;
}

std::string describe(const linux::ChildExit& exit) {
  if (exit.status) return "has ended with status " + std::to_string(*exit.status);
  std::string text = "was ended by signal " + std::to_string(exit.signal);
  const char* name = sigdescr_np(exit.signal);
  if (name != nullptr) text.append(" (").append(name).append(")");
  return text;
}

/// A pipe into which the child writes; its bytes are handled on the main queue.
class Subprocess::OutputPipe {
 public:
  static Result<std::unique_ptr<OutputPipe>> open(linux::EventLoop& loop, OutputHandler handler) {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) return linux::error("make a pipe", errno);
    std::unique_ptr<OutputPipe> pipe(
        new OutputPipe(posix::Descriptor(ends[0]), posix::Descriptor(ends[1]), std::move(handler)));
    // Only this end: programs do not expect EAGAIN from their standard error.
    ::fcntl(pipe->ownEnd_.get(), F_SETFL, O_NONBLOCK);
    pipe->watch_ = loop.watch(pipe->ownEnd_.get(), linux::Readiness::readable,
                              [pipe = pipe.get()] { pipe->readChunk(); });
    return pipe;
  }

  int childEnd() const { return childEnd_.get(); }
  /// Once the child has its own copy, so that the pipe ends when the child does.
  void closeChildEnd() { childEnd_.close(); }

  /// Handles what is in the pipe now. Another process that has the pipe may never stop writing.
  void drain() {
    posix::drain(ownEnd_.get(), [this] { return readChunk(); });
  }

 private:
  OutputPipe(posix::Descriptor ownEnd, posix::Descriptor childEnd, OutputHandler handler)
      : ownEnd_(std::move(ownEnd)), childEnd_(std::move(childEnd)), handler_(std::move(handler)) {}

  /// Handles one chunk and returns its length; 0 if there is none. A child that never stops writing
  /// gets one chunk's time in each loop iteration.
  std::size_t readChunk() {
    constexpr std::size_t chunk = 16384;
    std::array<char, chunk> buffer;
    const ssize_t count = ::read(ownEnd_.get(), buffer.data(), buffer.size());
    if (count < 0 && (errno == EINTR || errno == EAGAIN)) return 0;
    if (count <= 0) {
      watch_.reset();
      return 0;
    }
    const auto length = static_cast<std::size_t>(count);
    handler_({buffer.data(), length});
    return length;
  }

  posix::Descriptor ownEnd_;
  posix::Descriptor childEnd_;
  OutputHandler handler_;
  std::unique_ptr<linux::DescriptorWatch> watch_;
};

Result<std::unique_ptr<Subprocess>> Subprocess::start(linux::EventLoop& loop, Options options,
                                                      ExitHandler onExit) {
  std::unique_ptr<Subprocess> process(new Subprocess(fileName(options.program), std::move(onExit)));
  if (auto spawned = process->spawn(loop, std::move(options)); !spawned) {
    return std::unexpected(std::move(spawned).error());
  }
  return process;
}

Subprocess::Subprocess(std::string_view program, ExitHandler onExit)
    : messages_(program), onExit_(std::move(onExit)) {}

Subprocess::~Subprocess() = default;

Result<> Subprocess::spawn(linux::EventLoop& loop, Options options) {
  auto errors = OutputPipe::open(loop, [this](std::string_view bytes) { messages_.add(bytes); });
  if (!errors) return std::unexpected(std::move(errors).error());
  errors_ = *std::move(errors);
  if (options.onOutput) {
    auto output = OutputPipe::open(loop, std::move(options.onOutput));
    if (!output) return std::unexpected(std::move(output).error());
    output_ = *std::move(output);
  }
  options.descriptors.emplace_back(STDOUT_FILENO, (output_ ? output_ : errors_)->childEnd());
  options.descriptors.emplace_back(STDERR_FILENO, errors_->childEnd());

  auto child = linux::spawnChild(loop,
                                 {.program = std::move(options.program),
                                  .arguments = std::move(options.arguments),
                                  .descriptors = std::move(options.descriptors),
                                  .newSession = true,
                                  .beforeExec = dieWithParent},
                                 [this](const linux::ChildExit& exit) { finish(exit); });
  if (!child) return std::unexpected(std::move(child).error());
  child_ = *std::move(child);
  errors_->closeChildEnd();
  if (output_) output_->closeChildEnd();
  return {};
}

void Subprocess::kill() { child_->kill(SIGKILL); }

void Subprocess::finish(const linux::ChildExit& exit) {
  if (output_) output_->drain();
  errors_->drain();
  output_.reset();
  errors_.reset();
  const SubprocessExit result{.exit = exit, .lastMessage = messages_.text()};
  const auto onExit = std::move(onExit_);  // it may destroy this object
  onExit(result);
}

}  // namespace parlen::qemu
