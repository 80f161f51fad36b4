#pragma once

#include <string_view>

namespace parlen {

/// Writes the `status` line of the bundle and ends the process with status 0. A missing bundle is
/// no error: its members are reported as false. Path as typed.
[[noreturn]] void statusVM(std::string_view bundlePath);

}  // namespace parlen
