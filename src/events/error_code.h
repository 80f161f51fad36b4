#pragma once

#include <string_view>

/// The closed vocabulary of the `error` event. The parent branches on these words.
namespace parlen::errorCode {

inline constexpr std::string_view badUsage = "bad-usage";
inline constexpr std::string_view bundleExists = "bundle-exists";
inline constexpr std::string_view bundleMissing = "bundle-missing";
inline constexpr std::string_view ipswMissing = "ipsw-missing";
inline constexpr std::string_view ipswUnreadable = "ipsw-unreadable";
inline constexpr std::string_view ipswUnsupported = "ipsw-unsupported";
inline constexpr std::string_view createFailed = "create-failed";
inline constexpr std::string_view cloneFailed = "clone-failed";
inline constexpr std::string_view statusFailed = "status-failed";
inline constexpr std::string_view bootFailed = "boot-failed";
inline constexpr std::string_view vmLimit = "vm-limit";
// After these three the run goes on.
inline constexpr std::string_view pauseRefused = "pause-refused";
inline constexpr std::string_view resumeRefused = "resume-refused";
inline constexpr std::string_view inputFailed = "input-failed";

}  // namespace parlen::errorCode
