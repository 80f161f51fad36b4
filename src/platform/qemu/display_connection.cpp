#include "platform/qemu/display_connection.h"

#include <sys/socket.h>

#include <array>
#include <utility>

#include "platform/qemu/machine.h"

namespace parlen::qemu {

std::optional<linux::Descriptor> connectDisplay(platform::VirtualMachine& machine) {
  auto* ours = dynamic_cast<Machine*>(&machine);
  if (ours == nullptr) return std::nullopt;
  std::array<int, 2> ends{};
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
    return linux::Descriptor();
  }
  ours->connectDisplay(linux::Descriptor(ends[1]));
  return linux::Descriptor(ends[0]);
}

}  // namespace parlen::qemu
