#include "control/commands.h"

#include <array>
#include <string>

#include "events/error_code.h"
#include "events/event_stream.h"
#include "text/json_reader.h"

namespace parlen {
namespace {

using text::JsonValue;

/// The string member `name`, or null if there is none or it is of another type.
const std::string* stringMember(const JsonValue& message, std::string_view name) {
  const JsonValue* member = message.find(name);
  return member ? member->asString() : nullptr;
}

void stop(const JsonValue&, VMRunner& runner) { runner.requestStop(); }
void pause(const JsonValue&, VMRunner& runner) { runner.pauseGuest(); }
void resume(const JsonValue&, VMRunner& runner) { runner.resumeGuest(); }

struct Verb {
  std::string_view type;
  void (*action)(const JsonValue& message, VMRunner& runner);
};

constexpr std::array verbs = {
    Verb{"stop", stop},
    Verb{"pause", pause},
    Verb{"resume", resume},
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
