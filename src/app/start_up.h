#pragma once

#include <string>
#include <vector>

namespace parlen {

/// Gives every process-wide variable its first value, in their fixed order, and `words` (the
/// argument vector without the program's path) last. Constants have theirs from the compiler. The
/// system must be in use.
void startUp(std::vector<std::string> words);

}  // namespace parlen
