#pragma once

#include <optional>
#include <string>

#include "bundle/vm_bundle.h"
#include "platform/error.h"
#include "platform/machine_configuration.h"

namespace parlen {

/// The hardware of the bundle's guest; nothing else decides it. Not validated yet. A bundle whose
/// records or disk are missing or unusable ends the process; the only error that is returned is
/// that of attaching the disk. The folders, paths as typed, are shared with the guest: the first
/// read-only under the host's automount tag, the second writable under "parlen-logs". A folder that
/// is missing is created.
platform::Result<platform::MachineConfiguration> buildConfiguration(
    const VMBundle& bundle, const std::optional<std::string>& shareDirectory,
    const std::optional<std::string>& logsShare);

/// The devices of the two shared folders. `path` as typed; a missing folder is created.
platform::DirectorySharingDevice sharingDevice(const std::string& path);
platform::DirectorySharingDevice logsSharingDevice(const std::string& path);

}  // namespace parlen
