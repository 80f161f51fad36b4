#pragma once

#include <string_view>

#include "bundle/vm_bundle.h"

namespace parlen {

/// Ends the process with "bundle-exists" if a directory is at the bundle's path. `typed` is that
/// path as the user typed it.
void refuseExisting(const VMBundle& bundle, std::string_view typed);

/// Creates the directory of a new bundle, and its missing parents. Ends the process: with
/// "bundle-exists" if anybody else has created it, otherwise with `code`.
void createDirectory(const VMBundle& bundle, std::string_view typed, std::string_view code);

}  // namespace parlen
