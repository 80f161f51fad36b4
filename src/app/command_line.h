#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace parlen {

/// The argument vector without the program's path. Set at start-up.
extern std::vector<std::string> arguments;

/// The subcommands and their options; the message of every usage error ends with it.
extern const std::string_view usage;

/// The word after the first "--name", whatever it is; nothing if the option is absent or last.
std::optional<std::string> flag(std::string_view name);

/// Whether "--name" is anywhere among the arguments.
bool has(std::string_view name);

/// The value of `flag`; without one the process ends with a usage error that names the option.
std::string required(std::string_view name);

/// A signed 64-bit decimal: an optional sign, digits, nothing else.
std::optional<std::int64_t> parseInteger(std::string_view text);

}  // namespace parlen
