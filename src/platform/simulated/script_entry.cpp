#include "platform/simulated/script_entry.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

namespace parlen::simulated {

Checked read(const Field& field, platform::PlatformError& target) {
  using Error = platform::PlatformError;
  static constexpr auto table = std::to_array<Member<Error>>({
      {"domain", into<&Error::domain>},
      {"code", into<&Error::code>},
      {"description", into<&Error::description>},
  });
  // What the object leaves out is what the default failure says.
  target = failure();
  return readMembers<Error>(field, table, target);
}

namespace {

enum class Carries { nothing, error };

struct EventWord {
  std::string_view word;
  ScriptEvent event;
  Carries carries;
};

constexpr auto eventWords = std::to_array<EventWord>({
    {"guest-stops", ScriptEvent::guestStops, Carries::nothing},
    {"stops-with-error", ScriptEvent::stopsWithError, Carries::error},
    {"network-disconnects", ScriptEvent::networkDisconnects, Carries::error},
    {"enters-error-state", ScriptEvent::entersErrorState, Carries::nothing},
    {"clicks-later", ScriptEvent::clicksLater, Carries::nothing},
    {"clicks-done", ScriptEvent::clicksDone, Carries::nothing},
    {"closes-window", ScriptEvent::closesWindow, Carries::nothing},
});

std::string allEventWords() {
  std::string all;
  for (const EventWord& row : eventWords) {
    all += all.empty() ? "" : ", ";
    all += row.word;
  }
  return all;
}

}  // namespace

static Checked read(const Field& field, ScriptEvent& target) {
  std::string word;
  if (Checked checked = read(field, word); !checked) return checked;
  const auto row = std::ranges::find(eventWords, word, &EventWord::word);
  if (row == eventWords.end()) {
    return refuse(field, "is '" + word + "' and must be one of: " + allEventWords());
  }
  target = row->event;
  return {};
}

Checked read(const Field& field, ScriptEntry& target) {
  static constexpr auto table = std::to_array<Member<ScriptEntry>>({
      {"atMs", into<&ScriptEntry::atMs>},
      {"event", into<&ScriptEntry::event>},
      {"error", into<&ScriptEntry::error>},
  });
  if (Checked checked = readMembers<ScriptEntry>(field, table, target); !checked) return checked;
  for (const std::string_view needed : {"atMs", "event"}) {
    if (field.value.find(needed) == nullptr) {
      return refuse(field.member(needed, field.value), "is missing");
    }
  }
  const auto row = std::ranges::find(eventWords, target.event, &EventWord::event);
  if (row->carries == Carries::nothing && field.value.find("error") != nullptr) {
    return refuse(field.member("error", field.value),
                  "does not go with the event '" + std::string(row->word) + "'");
  }
  return {};
}

}  // namespace parlen::simulated
