#include "control/input_commands.h"

#include <expected>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "control/command_members.h"
#include "events/error_code.h"
#include "events/event_stream.h"
#include "input/gui_input_driver.h"
#include "input/key_planning.h"
#include "input/timings.h"

namespace parlen {
namespace {

using Plan = std::expected<std::vector<KeyStroke>, InputRefusal>;

Plan planOneChord(std::string_view chord) {
  auto stroke = planChord(chord);
  if (!stroke) return std::unexpected(std::move(stroke.error()));
  return std::vector{*std::move(stroke)};
}

/// A verb that types. The member that says what to type has the verb's own name.
struct InputVerb {
  std::string_view name;
  std::string_view nothingToType;
  Plan (*plan)(std::string_view words);
};

constexpr InputVerb textVerb{"text", R"(the text verb needs a non-empty "text" string)", planText};
constexpr InputVerb keyVerb{"key", R"(the key verb needs a non-empty "key" chord)", planOneChord};

void refuse(std::string_view reason) { emitError(errorCode::inputFailed, reason); }

/// The pause that the command asks for, or the usual one; nothing if it asks for an impossible one.
std::optional<int> gapMs(const text::JsonValue& message) {
  const text::JsonValue* delay = message.find("delayMs");
  if (delay == nullptr) return inputKeyGapMs;
  // A truth value would count as 1 or 0 and be out of range; no number and out of range are one.
  const auto milliseconds = delay->asInt64();
  if (!milliseconds || *milliseconds < inputDelayMinMs || *milliseconds > inputDelayMaxMs) {
    return std::nullopt;
  }
  return static_cast<int>(*milliseconds);
}

std::string delayOutOfRange() {
  return "delayMs must be an integer in [" + std::to_string(inputDelayMinMs) + ", " +
         std::to_string(inputDelayMaxMs) + "]";
}

/// The order of the checks decides which error is told. Planning comes last: it takes memory in
/// proportion to the words, which a headless run can save.
void dispatchInput(const InputVerb& verb, const text::JsonValue& message) {
  const std::string* words = stringMember(message, verb.name);
  if (words == nullptr || words->empty()) return refuse(verb.nothingToType);
  if (!inputDriver) {
    return refuse(
        "input verbs need --gui — a headless run has no VZVirtualMachineView to type into");
  }
  const std::optional<int> gap = gapMs(message);
  if (!gap) return refuse(delayOutOfRange());
  Plan plan = verb.plan(*words);
  if (!plan) return refuse(plan.error().reason);
  inputDriver->enqueue({std::string(verb.name), *std::move(plan), *gap});
}

}  // namespace

void typeText(const text::JsonValue& message) { dispatchInput(textVerb, message); }
void pressKey(const text::JsonValue& message) { dispatchInput(keyVerb, message); }

}  // namespace parlen
