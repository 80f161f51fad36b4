#include "platform/qemu/qmp_client.h"

#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <utility>
#include <variant>

#include "platform/linux/error.h"
#include "platform/linux/socket_pair.h"
#include "platform/qemu/configuration.h"
#include "platform/qemu/error.h"

namespace parlen::qemu {

QmpClient::QmpClient(linux::EventLoop& loop, posix::Descriptor socket, Handlers handlers)
    : loop_(loop), socket_(std::move(socket)), handlers_(std::move(handlers)) {
  reading_ = loop_.watch(socket_.get(), linux::Readiness::readable, [this] { receive(); });
}

void QmpClient::execute(std::string_view command, ReplyHandler onReply) {
  append(command, "{}", std::move(onReply));
  flush();
}

/// QEMU keeps the descriptor under its name until the next command uses it.
void QmpClient::addViewer(posix::Descriptor socket, ReplyHandler onReply) {
  pendingDescriptors_.push_back({.offset = unsent_.size(), .descriptor = std::move(socket)});
  append("getfd", R"({"fdname":"viewer"})", [](const platform::Result<>&) {});
  append("add_client", R"({"protocol":"vnc","fdname":"viewer","skipauth":true})",
         std::move(onReply));
  flush();
}

void QmpClient::unplugNetwork(std::string_view name, ReplyHandler onReply) {
  append("set_link", R"({"name":")" + std::string(name) + R"(","up":false})", std::move(onReply));
  flush();
}

void QmpClient::append(std::string_view command, std::string_view arguments, ReplyHandler onReply) {
  const std::int64_t id = nextId_++;
  unsent_.append(R"({"execute":")").append(command);
  unsent_.append(R"(","arguments":)").append(arguments);
  unsent_.append(R"(,"id":)").append(std::to_string(id)).append("}\n");
  waiting_.emplace(id, std::move(onReply));
}

/// Handles one chunk and returns its length; 0 if there is none. A QEMU that never stops talking
/// gets one chunk's time in each loop iteration.
std::size_t QmpClient::receive() {
  constexpr std::size_t chunk = 16384;
  std::array<char, chunk> buffer;
  const ssize_t count = ::recv(socket_.get(), buffer.data(), buffer.size(), MSG_DONTWAIT);
  if (count < 0 && (errno == EINTR || errno == EAGAIN)) return 0;
  if (count <= 0) {
    close();
    return 0;
  }
  const auto length = static_cast<std::size_t>(count);
  for (const QmpMessage& message : parser_.add({buffer.data(), length})) handle(message);
  return length;
}

void QmpClient::drain() {
  posix::drain(socket_.get(), [this] { return receive(); });
}

void QmpClient::handle(const QmpMessage& message) {
  if (const auto* received = std::get_if<QmpReply>(&message)) {
    reply(*received);
  } else if (const auto* event = std::get_if<QmpEvent>(&message)) {
    handlers_.onEvent(*event);
  } else {
    execute("qmp_capabilities", handlers_.onReady);
  }
}

void QmpClient::reply(const QmpReply& reply) {
  const auto command = waiting_.extract(reply.id.value_or(0));
  if (command.empty()) return;
  command.mapped()(reply.error ? platform::Result<>(error(*reply.error)) : platform::Result<>());
}

/// Sends what the socket has room for; the rest when it has more. A QEMU that is stopped (SIGSTOP)
/// makes no room.
void QmpClient::flush() {
  while (isOpen() && !unsent_.empty()) {
    const ssize_t count = sendSome();
    if (count >= 0) {
      markSent(static_cast<std::size_t>(count));
    } else if (errno == EAGAIN) {
      if (!writing_) {
        writing_ = loop_.watch(socket_.get(), linux::Readiness::writable, [this] { flush(); });
      }
      return;
    } else if (errno != EINTR) {
      // QEMU is ending. What it sent before is still to be read; the end of the stream closes.
      unsent_.clear();
      pendingDescriptors_.clear();
    }
  }
  writing_.reset();
}

/// Sends up to the byte that the next descriptor belongs to, with the descriptor, if any, that
/// belongs to the first byte.
ssize_t QmpClient::sendSome() {
  const bool carries = !pendingDescriptors_.empty() && pendingDescriptors_.front().offset == 0;
  const std::size_t next = carries ? 1 : 0;
  const std::size_t length =
      next < pendingDescriptors_.size() ? pendingDescriptors_[next].offset : unsent_.size();
  iovec bytes{.iov_base = unsent_.data(), .iov_len = length};
  alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> space{};
  msghdr message{};
  message.msg_iov = &bytes;
  message.msg_iovlen = 1;
  if (carries) {
    message.msg_control = space.data();
    message.msg_controllen = space.size();
    cmsghdr* header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(sizeof(int));
    const int descriptor = pendingDescriptors_.front().descriptor.get();
    std::memcpy(CMSG_DATA(header), &descriptor, sizeof descriptor);
  }
  return ::sendmsg(socket_.get(), &message, MSG_DONTWAIT | MSG_NOSIGNAL);
}

void QmpClient::markSent(std::size_t count) {
  unsent_.erase(0, count);
  if (!pendingDescriptors_.empty() && pendingDescriptors_.front().offset == 0 && count > 0)
    pendingDescriptors_.pop_front();
  for (PendingDescriptor& pending : pendingDescriptors_) pending.offset -= count;
}

void QmpClient::close() {
  reading_.reset();
  writing_.reset();
  if (handlers_.onClosed) handlers_.onClosed();
}

namespace {

class StartedQemu final : public QemuProcess {
 public:
  explicit StartedQemu(Subprocess::ExitHandler onExit) : onExit_(std::move(onExit)) {}

  platform::Result<> start(linux::EventLoop& loop, Command command, QmpClient::Handlers handlers);

  QmpClient& monitor() override { return *monitor_; }
  void kill() override { process_->kill(); }

 private:
  void finish(const SubprocessExit& exit);

  Subprocess::ExitHandler onExit_;
  std::unique_ptr<QmpClient> monitor_;
  std::unique_ptr<Subprocess> process_;
};

platform::Result<> StartedQemu::start(linux::EventLoop& loop, Command command,
                                      QmpClient::Handlers handlers) {
  auto sockets = linux::makeSocketPair();
  if (!sockets) return linux::error("make QEMU's control socket", sockets.error());
  std::vector<std::pair<int, int>> descriptors{{monitorDescriptor, sockets->theirs.get()}};
  if (command.console) descriptors.emplace_back(consoleDescriptor, *command.console);
  int number = networkDescriptor;
  for (const int socket : command.networkSockets) descriptors.emplace_back(number++, socket);
  auto process = Subprocess::start(loop,
                                   {.program = std::move(command.program),
                                    .arguments = std::move(command.arguments),
                                    .onOutput = nullptr,
                                    .descriptors = std::move(descriptors)},
                                   [this](const SubprocessExit& exit) { finish(exit); });
  if (!process) return std::unexpected(std::move(process).error());
  process_ = *std::move(process);
  monitor_ = std::make_unique<QmpClient>(loop, std::move(sockets->ours), std::move(handlers));
  return {};
}

void StartedQemu::finish(const SubprocessExit& exit) {
  monitor_->drain();
  const auto onExit = std::move(onExit_);  // it may destroy this object
  onExit(exit);
}

}  // namespace

platform::Result<std::unique_ptr<QemuProcess>> QemuProcess::start(linux::EventLoop& loop,
                                                                  Command command,
                                                                  Handlers handlers) {
  auto qemu = std::make_unique<StartedQemu>(std::move(handlers.onExit));
  auto started = qemu->start(loop, std::move(command), std::move(handlers.monitor));
  if (!started) return std::unexpected(std::move(started).error());
  return qemu;
}

}  // namespace parlen::qemu
