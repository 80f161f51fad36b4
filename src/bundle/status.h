#pragma once

#include <string_view>

namespace parlen {

/// Reports what is known of the bundle at rest in one line and ends the process with status 0. A
/// bundle that is not there is no error: its report is full of false values.
[[noreturn]] void statusVM(std::string_view bundlePath);

}  // namespace parlen
