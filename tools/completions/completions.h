#pragma once

#include <string>

namespace parlen::completions {

// The completion scripts, as whole files, of the subcommands in app/subcommands.h that are for
// people.
std::string forBash();
std::string forZsh();
std::string forFish();

}  // namespace parlen::completions
