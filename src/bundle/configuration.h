#pragma once

#include <optional>
#include <string>

#include "bundle/vm_bundle.h"
#include "platform/error.h"
#include "platform/machine_configuration.h"

namespace parlen {

/// Decides a guest's hardware: the one place that does. A bundle whose records or disk are missing
/// or unusable ends the process; the error is that of the disk's attachment. The caller validates.
/// The folders, as typed, are shared with the guest: the first read-only under the host's automount
/// tag, the second writable under "parlen-logs". A folder that is missing is created.
platform::Result<platform::MachineConfiguration> buildConfiguration(
    const VMBundle& bundle, const std::optional<std::string>& shareDirectory,
    const std::optional<std::string>& logsShare);

/// The two shared folders' devices.
platform::DirectorySharingDevice sharingDevice(const std::string& path);
platform::DirectorySharingDevice logsSharingDevice(const std::string& path);

}  // namespace parlen
