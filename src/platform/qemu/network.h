#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/error.h"
#include "platform/linux/event_loop.h"
#include "platform/machine_configuration.h"
#include "platform/qemu/configuration.h"
#include "platform/qemu/qmp_client.h"

namespace parlen::qemu {

/// The program that connects a guest to the host's network, without a gateway that leads to the
/// host's loopback addresses: passt(1).
inline constexpr std::string_view networkProgram = "passt";

/// A QEMU to be started.
struct QemuPlan {
  std::string emulator;                  // a path
  std::optional<std::string> passt;      // a path; nothing if it is not installed
  std::vector<std::string> nameServers;  // for passt; empty: those that it finds by itself
  platform::MachineConfiguration configuration;
  Acceleration acceleration;
  std::optional<int> console = std::nullopt;  // the descriptor of the file for the serial port
};

/// Starts QEMU for a machine. With passt, each network device has one of its own, which ends with
/// QEMU: it has the other end of QEMU's socket, and nobody else has a copy of either. When one
/// fails, at its start or later, QEMU runs on, the guest sees that its cable is out, and
/// `handlers.onNetworkLost` is called once for the device, when QEMU is ready. QEMU's
/// own user networking never takes its place: its gateway leads to the loopback addresses.
platform::Result<std::unique_ptr<QemuProcess>> startQemu(linux::EventLoop& loop,
                                                         const QemuPlan& plan,
                                                         QemuProcess::Handlers handlers);

}  // namespace parlen::qemu
