#pragma once

#include <expected>
#include <string>
#include <string_view>

namespace parlen::linux {

/// The path of the program `name`: searched in the directories of PATH, then in the system's own
/// (/usr/local/bin, /usr/bin, /bin), so that a missing or short PATH hides nothing that is
/// installed. An empty PATH counts as a missing one; a name with a slash is a path itself. The
/// error is an errno value: ENOENT, or why the last file of that name may not be executed.
std::expected<std::string, int> findProgram(std::string_view name);

/// The same in a list of directories alone, separated by colons; an empty entry is the working
/// directory.
std::expected<std::string, int> findProgram(std::string_view name, std::string_view directories);

}  // namespace parlen::linux
