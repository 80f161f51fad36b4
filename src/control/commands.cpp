#include "control/commands.h"

#include <array>
#include <string>

#include "control/command_members.h"
#include "control/input_commands.h"
#include "control/window_command.h"
#include "events/event_stream.h"
#include "text/json_reader.h"

namespace parlen {
namespace {

using text::JsonValue;

void stop(const JsonValue&, VMRunner& runner) { runner.requestStop(); }
void pause(const JsonValue&, VMRunner& runner) { runner.pauseGuest(); }
void resume(const JsonValue&, VMRunner& runner) { runner.resumeGuest(); }
void typeWords(const JsonValue& message, VMRunner&) { typeText(message); }
void pressChord(const JsonValue& message, VMRunner&) { pressKey(message); }
void window(const JsonValue& message, VMRunner&) { moveWindow(message); }

struct Verb {
  std::string_view type;
  void (*action)(const JsonValue& message, VMRunner& runner);
};

constexpr std::array verbs = {
    Verb{"stop", stop},      Verb{"pause", pause},    Verb{"resume", resume},
    Verb{"text", typeWords}, Verb{"key", pressChord}, Verb{"window", window},
};

}  // namespace

void executeCommand(std::string_view line, VMRunner& runner) {
  const auto message = text::parseJson(line);
  const std::string* type = message ? stringMember(*message, "type") : nullptr;
  if (!type) return warn("ignoring a malformed command line");
  for (const Verb& verb : verbs) {
    if (verb.type == *type) return verb.action(*message, runner);
  }
  warn("ignoring an unknown command '" + *type + "'");
}

}  // namespace parlen
