#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/error.h"
#include "platform/host.h"
#include "platform/machine_configuration.h"

namespace parlen::qemu {

inline constexpr std::uint64_t mebibyte = 1024 * 1024;

/// The limits on a host with `processors` processors and `memory` bytes.
platform::MachineLimits limitsFor(std::int64_t processors, std::uint64_t memory);

/// Checks `configuration` against `limits` and this host's devices. Pure: opens no file.
platform::Result<> validate(const platform::MachineConfiguration& configuration,
                            const platform::MachineLimits& limits);

enum class Acceleration { kvm, emulation };

/// What connects a guest to the host's network: QEMU itself, or passt(1).
enum class Networking { user, passt };

/// What the first serial port of a guest is connected to. Without a file the guest has none, or, on
/// a board that has one always, one that is connected to nothing.
enum class Console { none, file };

/// QEMU's descriptor for its end of the monitor socket.
inline constexpr int monitorDescriptor = 3;

/// QEMU's descriptor for the file that the serial port writes to.
inline constexpr int consoleDescriptor = 4;

/// QEMU's descriptor for the socket of the first network device, with passt. The numbers of further
/// devices' sockets follow.
inline constexpr int networkDescriptor = 5;

/// QEMU's name for what a network device is connected to.
std::string networkName(std::size_t index);

/// The tag of a share that a guest mounts by itself.
inline constexpr std::string_view shareTag = "parlen-share";

/// QEMU's arguments for a valid configuration. Pure.
std::vector<std::string> buildArguments(const platform::MachineConfiguration& configuration,
                                        Acceleration acceleration, Networking networking,
                                        Console console);

/// `value` for use inside an option of QEMU, where a comma ends a value and ",," is a comma.
std::string escapeOption(std::string_view value);

}  // namespace parlen::qemu
