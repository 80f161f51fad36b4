#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

namespace parlen::text {

/// The parts, one after the other, in no more memory than that takes: `+` may take twice as much,
/// which counts where a sentence quotes a line of many megabytes.
std::string concatenate(std::initializer_list<std::string_view> parts);

}  // namespace parlen::text
