#pragma once

#include <string_view>

#include "runner/vm_runner.h"

namespace parlen {

/// Carries out one command line: a JSON object whose "type" is one of the verbs. A line that is
/// none is dropped with a warning; a command that cannot be carried out is answered with an `error`
/// event.
void executeCommand(std::string_view line, VMRunner& runner);

}  // namespace parlen
