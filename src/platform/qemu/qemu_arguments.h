#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/machine_configuration.h"

namespace parlen::qemu {

enum class Acceleration { kvm, emulation };

/// The descriptor on which QEMU finds its end of the control socket.
inline constexpr int controlDescriptor = 3;

/// The tag of a share that a guest of this host mounts by itself.
inline constexpr std::string_view shareTag = "parlen-share";

/// QEMU's arguments for a valid configuration of this host.
std::vector<std::string> buildArguments(const platform::MachineConfiguration& configuration,
                                        Acceleration acceleration);

/// `value` as it stands inside an option of QEMU, where a comma ends the value.
std::string escapeOption(std::string_view value);

}  // namespace parlen::qemu
