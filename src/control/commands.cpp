#include "control/commands.h"

#include <array>
#include <expected>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "events/error_code.h"
#include "events/event_stream.h"
#include "input/gui_input_driver.h"
#include "input/key_planning.h"
#include "input/timings.h"
#include "text/concatenate.h"
#include "text/json_reader.h"
#include "text/json_value.h"
#include "window/guest_window_controller.h"

namespace parlen {
namespace {

using text::JsonValue;
using Plan = std::expected<KeyStrokes, InputRefusal>;

void refuse(std::string_view reason) { emitError(errorCode::inputFailed, reason); }

/// The pause after each stroke, "delayMs" or else the default; nothing if it is not in range.
/// Booleans and other non-integers get the same error as a number out of range.
std::optional<int> gapMs(const JsonValue& message) {
  if (message.find("delayMs") == nullptr) return inputKeyGapMs;
  const auto milliseconds = message.integer("delayMs");
  if (!milliseconds || *milliseconds < inputDelayMinMs || *milliseconds > inputDelayMaxMs) {
    return std::nullopt;
  }
  return static_cast<int>(*milliseconds);
}

std::string delayOutOfRange() {
  return "delayMs must be an integer in [" + std::to_string(inputDelayMinMs) + ", " +
         std::to_string(inputDelayMaxMs) + "]";
}

/// Queues what the member named like the verb asks for, or reports one error and types nothing. The
/// order of the checks decides which error that is. Planning comes last: it takes memory in
/// proportion to the text, which a headless run can save.
void enqueueInput(const JsonValue& message, std::string_view verb, std::string_view nothingToType,
                  Plan (*plan)(std::string_view)) {
  const auto text = message.text(verb);
  if (!text || text->empty()) return refuse(nothingToType);
  if (!inputDriver) {
    return refuse(
        "input verbs need --gui — a headless run has no VZVirtualMachineView to type into");
  }
  const std::optional<int> gap = gapMs(message);
  if (!gap) return refuse(delayOutOfRange());
  Plan strokes = plan(*text);
  if (!strokes) return refuse(strokes.error().reason);
  inputDriver->enqueue({std::string(verb), *std::move(strokes), *gap});
}

void typeText(const JsonValue& message, VMRunner&) {
  enqueueInput(message, "text", R"(the text verb needs a non-empty "text" string)", planText);
}

void pressKey(const JsonValue& message, VMRunner&) {
  const auto planOneStroke = [](std::string_view chord) -> Plan {
    auto stroke = planChord(chord);
    if (!stroke) return std::unexpected(std::move(stroke).error());
    std::vector<KeyStroke> strokes;
    strokes.push_back(*std::move(stroke));
    return KeyStrokes(std::move(strokes));
  };
  enqueueInput(message, "key", R"(the key verb needs a non-empty "key" chord)", planOneStroke);
}

void showOrHideWindow(const JsonValue& message, VMRunner&) {
  if (!message.boolean("show").value_or(false)) return guestWindow->hide();
  guestWindow->show(std::string(message.text("title").value_or("")),
                    std::string(message.text("detail").value_or("")));
}

/// Every member that a verb looks at. Whatever else a line has is checked and takes no memory.
constexpr std::array<std::string_view, 7> usedMembers = {"type", "text",  "key",   "delayMs",
                                                         "show", "title", "detail"};

struct Verb {
  std::string_view type;
  void (*action)(const JsonValue& message, VMRunner& runner);
};

/// All that the parent may say, each verb under its form. Members that a verb does not use are
/// ignored.
constexpr std::array verbs = {
    // {"type":"stop"}
    Verb{"stop", [](const JsonValue&, VMRunner& runner) { runner.requestStop(); }},
    // {"type":"pause"}
    Verb{"pause", [](const JsonValue&, VMRunner& runner) { runner.pauseGuest(); }},
    // {"type":"resume"}
    Verb{"resume", [](const JsonValue&, VMRunner& runner) { runner.resumeGuest(); }},
    // {"type":"text","text":"Hello\n","delayMs":60}           delayMs may be absent
    Verb{"text", typeText},
    // {"type":"key","key":"cmd+shift+t","delayMs":60}         delayMs may be absent
    Verb{"key", pressKey},
    // {"type":"window","show":true,"title":…,"detail":…}      anything but true hides
    Verb{"window", showOrHideWindow},
};

}  // namespace

void executeCommand(std::string_view line, VMRunner& runner) {
  const auto message = text::parseJsonMembers(line, usedMembers);
  const auto type = message ? message->text("type") : std::nullopt;
  if (!type) return warn("ignoring a malformed command line");
  for (const Verb& verb : verbs) {
    if (verb.type == *type) return verb.action(*message, runner);
  }
  warn(text::concatenate({"ignoring an unknown command '", *type, "'"}));
}

}  // namespace parlen
