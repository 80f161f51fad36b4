#pragma once

#include <memory>
#include <string>

#include "platform/host.h"

namespace parlen::macos {

/// `machine` is one of this host's. Called on the main thread, whose queue is the machine's.
std::unique_ptr<platform::Installer> makeInstaller(platform::VirtualMachine& machine,
                                                   const std::string& restoreImagePath,
                                                   platform::WarningSink warn);

}  // namespace parlen::macos
