#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/error.h"

namespace parlen {

/// The closed vocabulary of the `error` event: the parent branches on these words.
namespace errorCode {

// The process ends. Behind each word: where it arises.
inline constexpr std::string_view badUsage = "bad-usage";          // command line, environment
inline constexpr std::string_view bundleExists = "bundle-exists";  // create, clone
inline constexpr std::string_view bundleMissing =
    "bundle-missing";                                            // run, clone; buildConfiguration
inline constexpr std::string_view ipswMissing = "ipsw-missing";  // create
inline constexpr std::string_view ipswUnreadable = "ipsw-unreadable";    // create
inline constexpr std::string_view ipswUnsupported = "ipsw-unsupported";  // create
inline constexpr std::string_view createFailed = "create-failed";        // create
inline constexpr std::string_view cloneFailed = "clone-failed";          // clone
inline constexpr std::string_view statusFailed = "status-failed";        // status
inline constexpr std::string_view bootFailed = "boot-failed";            // run
inline constexpr std::string_view vmLimit = "vm-limit";                  // run
// The run goes on.
inline constexpr std::string_view pauseRefused = "pause-refused";    // VMRunner::pauseGuest
inline constexpr std::string_view resumeRefused = "resume-refused";  // VMRunner::resumeGuest
inline constexpr std::string_view inputFailed = "input-failed";      // control/commands.cpp

}  // namespace errorCode

/// The code for an error that the virtualization platform reported: vm-limit or boot-failed.
std::string_view vmErrorCode(const platform::PlatformError& error);

/// Words for a machine's raw execution state that read well after "the VM is ".
std::string describeVMState(std::int64_t state);

}  // namespace parlen
