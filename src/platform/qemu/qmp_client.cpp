#include "platform/qemu/qmp_client.h"

#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <utility>
#include <variant>

#include "platform/qemu/errors.h"

namespace parlen::qemu {

QmpClient::QmpClient(linux::Loop& loop, linux::Descriptor socket, Handlers handlers)
    : loop_(loop), socket_(std::move(socket)), handlers_(std::move(handlers)) {
  reading_ = loop_.watch(socket_.get(), linux::Readiness::readable, [this] { drain(); });
}

void QmpClient::execute(std::string_view command, Replied replied) {
  append(command, "{}", std::move(replied));
  flush();
}

/// QEMU keeps the descriptor under a name until the next command takes it.
void QmpClient::addViewer(linux::Descriptor socket, Replied replied) {
  passengers_.push_back({.offset = unsent_.size(), .descriptor = std::move(socket)});
  append("getfd", R"({"fdname":"viewer"})", [](const platform::Result<>&) {});
  append("add_client", R"({"protocol":"vnc","fdname":"viewer","skipauth":true})",
         std::move(replied));
  flush();
}

void QmpClient::append(std::string_view command, std::string_view arguments, Replied replied) {
  const std::int64_t id = nextId_++;
  unsent_.append(R"({"execute":")").append(command);
  unsent_.append(R"(","arguments":)").append(arguments);
  unsent_.append(R"(,"id":)").append(std::to_string(id)).append("}\n");
  waiting_.emplace(id, std::move(replied));
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
    const ssize_t count = sendSome();
    if (count >= 0) {
      forget(static_cast<std::size_t>(count));
    } else if (errno == EAGAIN) {
      if (!writing_) {
        writing_ = loop_.watch(socket_.get(), linux::Readiness::writable, [this] { flush(); });
      }
      return;
    } else if (errno != EINTR) {
      // QEMU is ending. What it sent before is still to be read; the end of that closes.
      unsent_.clear();
      passengers_.clear();
    }
  }
  writing_.reset();
}

/// Up to the next descriptor's byte; a descriptor that waits at the front goes along.
ssize_t QmpClient::sendSome() {
  const bool carries = !passengers_.empty() && passengers_.front().offset == 0;
  const std::size_t next = carries ? 1 : 0;
  const std::size_t length = next < passengers_.size() ? passengers_[next].offset : unsent_.size();
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
    const int descriptor = passengers_.front().descriptor.get();
    std::memcpy(CMSG_DATA(header), &descriptor, sizeof descriptor);
  }
  return ::sendmsg(socket_.get(), &message, MSG_DONTWAIT | MSG_NOSIGNAL);
}

void QmpClient::forget(std::size_t sent) {
  unsent_.erase(0, sent);
  if (!passengers_.empty() && passengers_.front().offset == 0 && sent > 0) passengers_.pop_front();
  for (Passenger& passenger : passengers_) passenger.offset -= sent;
}

void QmpClient::close() {
  reading_.reset();
  writing_.reset();
}

}  // namespace parlen::qemu
