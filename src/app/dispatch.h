#pragma once

#include <string>
#include <vector>

/// The program between `main` and its subcommands. Where to look for what:
///
///   the command line      app/command_line.h gives its options, app/dispatch.cpp has the table of
///                         subcommands
///   what the parent says  the table of verbs in control/commands.cpp
///   what it hears         events/event_stream.h, each event's form above its writer
///   its error codes       events/error_code.h
///   how a run ends        runner/vm_runner.cpp
namespace parlen {

/// Gives every process-wide variable its first value, in their fixed order, and `words` (the
/// argument vector without the program's path) last. Constants have theirs from the compiler. The
/// system must be in use. Also forgets what an earlier run in the same process has left.
void startUp(std::vector<std::string> words);

/// Carries out the one subcommand that the arguments name. No subcommand returns.
[[noreturn]] void dispatch();

}  // namespace parlen
