#include "platform/linux/qmp_client.h"

#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <utility>
#include <variant>

#include "platform/linux/errors.h"

namespace parlen::qemu {

QmpClient::QmpClient(posix::Loop& loop, posix::Descriptor socket, Handlers handlers)
    : loop_(loop), socket_(std::move(socket)), handlers_(std::move(handlers)) {
  reading_ = loop_.watch(socket_.get(), posix::Readiness::readable, [this] { drain(); });
}

void QmpClient::execute(std::string_view command, Replied replied) {
  const std::int64_t id = nextId_++;
  unsent_.append(R"({"execute":")").append(command);
  unsent_.append(R"(","id":)").append(std::to_string(id)).append("}\n");
  waiting_.emplace(id, std::move(replied));
  flush();
}

void QmpClient::drain() {
  constexpr std::size_t chunk = 16384;
  std::array<char, chunk> buffer;
  while (isOpen()) {
    const ssize_t count = ::recv(socket_.get(), buffer.data(), buffer.size(), MSG_DONTWAIT);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0 && errno == EAGAIN) return;
    if (count <= 0) return close();
    for (const QmpMessage& message :
         parser_.add({buffer.data(), static_cast<std::size_t>(count)})) {
      handle(message);
    }
  }
}

void QmpClient::handle(const QmpMessage& message) {
  if (const auto* answer = std::get_if<QmpReply>(&message)) {
    reply(*answer);
  } else if (const auto* event = std::get_if<QmpEvent>(&message)) {
    handlers_.event(*event);
  } else {
    execute("qmp_capabilities", [this](const platform::Result<>& result) {
      if (result) handlers_.ready();
    });
  }
}

void QmpClient::reply(const QmpReply& reply) {
  const auto command = waiting_.extract(reply.id.value_or(0));
  if (command.empty()) return;
  command.mapped()(reply.error ? platform::Result<>(refusal(*reply.error)) : platform::Result<>());
}

/// Sends what the socket takes; the rest when it takes more, which it may not while QEMU is
/// stopped.
void QmpClient::flush() {
  while (isOpen() && !unsent_.empty()) {
    const ssize_t count =
        ::send(socket_.get(), unsent_.data(), unsent_.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    if (count >= 0) {
      unsent_.erase(0, static_cast<std::size_t>(count));
    } else if (errno == EAGAIN) {
      if (!writing_) {
        writing_ = loop_.watch(socket_.get(), posix::Readiness::writable, [this] { flush(); });
      }
      return;
    } else if (errno != EINTR) {
      // QEMU is ending. What it sent before is still to be read; the end of that closes.
      unsent_.clear();
    }
  }
  writing_.reset();
}

void QmpClient::close() {
  reading_.reset();
  writing_.reset();
}

}  // namespace parlen::qemu
