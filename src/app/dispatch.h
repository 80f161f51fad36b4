#pragma once

namespace parlen {

/// Carries out the one subcommand that the arguments name. No subcommand returns.
[[noreturn]] void dispatch();

}  // namespace parlen
