#pragma once

#include <string_view>

#include "runner/vm_runner.h"

namespace parlen {

/// Carries out one command line: a JSON object whose "type" is one of the verbs. Any other line is
/// dropped with a warning. Returns once the command is under way; one that cannot be carried out is
/// answered with an `error` event. Main thread.
void executeCommand(std::string_view line, VMRunner& runner);

}  // namespace parlen
