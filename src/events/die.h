#pragma once

#include <string_view>

namespace parlen {

/// Writes an `error` event and ends the process with status 1.
[[noreturn]] void die(std::string_view code, std::string_view message);

}  // namespace parlen
