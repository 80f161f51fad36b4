#pragma once

#include <string>

#include "platform/files.h"
#include "platform/machine_configuration.h"
#include "platform/simulated/handles.h"

namespace parlen::simulated {

/// Creates the storage of a guest of `model`. A file that is there already is an error.
platform::Result<> createAuxiliaryStorage(platform::Files& files, const std::string& path,
                                          const HardwareModel& model);

/// Whether a machine with these files would start: its storage is its model's, its first disk has a
/// guest on it.
platform::Result<> checkGuestFiles(const platform::Files& files,
                                   const platform::MachineConfiguration& configuration);

/// Whether the first disk is long enough for a guest.
platform::Result<> checkRoomForGuest(const platform::Files& files,
                                     const platform::MachineConfiguration& configuration);

/// Puts a guest onto the first disk, whose other bytes and length stay.
platform::Result<> writeGuest(platform::Files& files,
                              const platform::MachineConfiguration& configuration);

}  // namespace parlen::simulated
