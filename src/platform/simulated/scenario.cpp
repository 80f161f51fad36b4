#include "platform/simulated/scenario.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

#include "platform/simulated/strict_json.h"
#include "text/json_reader.h"

namespace parlen::simulated {
namespace {

enum class ErrorMember { notAllowed, optional };

struct EventWord {
  std::string_view word;
  ScriptEvent event;
  ErrorMember errorMember;
};

constexpr auto eventWords = std::to_array<EventWord>({
    {"guest-stops", ScriptEvent::guestStops, ErrorMember::notAllowed},
    {"stops-with-error", ScriptEvent::stopsWithError, ErrorMember::optional},
    {"network-disconnects", ScriptEvent::networkDisconnects, ErrorMember::optional},
    {"enters-error-state", ScriptEvent::entersErrorState, ErrorMember::notAllowed},
    {"clicks-later", ScriptEvent::clicksLater, ErrorMember::notAllowed},
    {"clicks-done", ScriptEvent::clicksDone, ErrorMember::notAllowed},
    {"closes-window", ScriptEvent::closesWindow, ErrorMember::notAllowed},
    {"guest-panics", ScriptEvent::guestPanics, ErrorMember::notAllowed},
    {"disk-fills", ScriptEvent::diskFills, ErrorMember::optional},
    {"disk-has-room", ScriptEvent::diskHasRoom, ErrorMember::notAllowed},
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

// One reader per struct; into<> finds them by argument-dependent lookup, as it finds those of the
// plain types. A table lists all members that its object may have.

/// Members that the object leaves out are those of the default error.
static Checked read(const Field& field, platform::PlatformError& target) {
  using Error = platform::PlatformError;
  static constexpr auto table = std::to_array<Member<Error>>({
      {"domain", into<&Error::domain>},
      {"code", into<&Error::code>},
      {"description", into<&Error::description>},
  });
  target = defaultError();
  return readMembers<Error>(field, table, target);
}

static Checked read(const Field& field, HostScenario& target) {
  static constexpr auto table = std::to_array<Member<HostScenario>>({
      {"supported", into<&HostScenario::supported>},
      {"processorCount", intoBy<&HostScenario::processorCount, readCount>},
      {"minimumCPUCount", intoBy<&HostScenario::minimumCPUCount, readCount>},
      {"maximumCPUCount", intoBy<&HostScenario::maximumCPUCount, readCount>},
      {"minimumMemorySize", into<&HostScenario::minimumMemorySize>},
      {"maximumMemorySize", into<&HostScenario::maximumMemorySize>},
      {"hardwareModels", into<&HostScenario::hardwareModels>},
  });
  return readMembers<HostScenario>(field, table, target);
}

static Checked read(const Field& field, RestoreImageScenario& target) {
  static constexpr auto table = std::to_array<Member<RestoreImageScenario>>({
      {"loadMs", into<&RestoreImageScenario::loadMs>},
      {"error", into<&RestoreImageScenario::error>},
  });
  return readMembers<RestoreImageScenario>(field, table, target);
}

static Checked read(const Field& field, InstallScenario& target) {
  static constexpr auto table = std::to_array<Member<InstallScenario>>({
      {"progress", into<&InstallScenario::progress>},
      {"stepMs", into<&InstallScenario::stepMs>},
      {"error", into<&InstallScenario::error>},
  });
  return readMembers<InstallScenario>(field, table, target);
}

static Checked read(const Field& field, ConfigurationScenario& target) {
  static constexpr auto table = std::to_array<Member<ConfigurationScenario>>({
      {"attachError", into<&ConfigurationScenario::attachError>},
      {"validateError", into<&ConfigurationScenario::validateError>},
  });
  return readMembers<ConfigurationScenario>(field, table, target);
}

static Checked read(const Field& field, MachineScenario& target) {
  static constexpr auto table = std::to_array<Member<MachineScenario>>({
      {"startMs", into<&MachineScenario::startMs>},
      {"startError", into<&MachineScenario::startError>},
      {"inUse", into<&MachineScenario::inUse>},
      {"canRequestStop", into<&MachineScenario::canRequestStop>},
      {"requestStopError", into<&MachineScenario::requestStopError>},
      {"shutdownMs", into<&MachineScenario::shutdownMs>},
      {"stopMs", into<&MachineScenario::stopMs>},
      {"stopError", into<&MachineScenario::stopError>},
      {"pauseMs", into<&MachineScenario::pauseMs>},
      {"pauseError", into<&MachineScenario::pauseError>},
      {"resumeMs", into<&MachineScenario::resumeMs>},
      {"resumeError", into<&MachineScenario::resumeError>},
  });
  return readMembers<MachineScenario>(field, table, target);
}

static Checked readVisibleFrame(const Field& field, std::optional<platform::Rect>& target) {
  if (field.value.isNull()) {
    target.reset();
    return {};
  }
  std::vector<double> numbers;
  if (!read(field, numbers) || numbers.size() != 4) {
    return fail(field, "must be the four numbers [x, y, width, height], or null");
  }
  target = platform::Rect{numbers[0], numbers[1], numbers[2], numbers[3]};
  return {};
}

static Checked read(const Field& field, ViewScenario& target) {
  static constexpr auto table = std::to_array<Member<ViewScenario>>({
      {"name", into<&ViewScenario::name>},
      {"acceptsFirstResponder", into<&ViewScenario::acceptsFirstResponder>},
      {"subviews", into<&ViewScenario::subviews>},
  });
  return readMembers<ViewScenario>(field, table, target);
}

static Checked read(const Field& field, WindowScenario& target) {
  static constexpr auto table = std::to_array<Member<WindowScenario>>({
      {"visibleFrame", intoBy<&WindowScenario::visibleFrame, readVisibleFrame>},
      {"chrome", into<&WindowScenario::chrome>},
      {"unbuildableKeyCodes", into<&WindowScenario::unbuildableKeyCodes>},
      {"views", into<&WindowScenario::views>},
  });
  return readMembers<WindowScenario>(field, table, target);
}

static Checked read(const Field& field, ScriptEvent& target) {
  std::string word;
  if (Checked checked = read(field, word); !checked) return checked;
  const auto row = std::ranges::find(eventWords, word, &EventWord::word);
  if (row == eventWords.end()) {
    return fail(field, "is '" + word + "' and must be one of: " + allEventWords());
  }
  target = row->event;
  return {};
}

static Checked read(const Field& field, ScriptEntry& target) {
  static constexpr auto table = std::to_array<Member<ScriptEntry>>({
      {"atMs", into<&ScriptEntry::atMs>},
      {"event", into<&ScriptEntry::event>},
      {"error", into<&ScriptEntry::error>},
  });
  if (Checked checked = readMembers<ScriptEntry>(field, table, target); !checked) return checked;
  for (const std::string_view needed : {"atMs", "event"}) {
    if (field.value.find(needed) == nullptr) {
      return fail(field.member(needed, field.value), "is missing");
    }
  }
  const auto row = std::ranges::find(eventWords, target.event, &EventWord::event);
  if (row->errorMember == ErrorMember::notAllowed && field.value.find("error") != nullptr) {
    return fail(field.member("error", field.value),
                "does not go with the event '" + std::string(row->word) + "'");
  }
  return {};
}

static Checked read(const Field& field, Scenario& target) {
  static constexpr auto table = std::to_array<Member<Scenario>>({
      {"host", into<&Scenario::host>},
      {"restoreImage", into<&Scenario::restoreImage>},
      {"install", into<&Scenario::install>},
      {"configuration", into<&Scenario::configuration>},
      {"machine", into<&Scenario::machine>},
      {"window", into<&Scenario::window>},
      {"script", into<&Scenario::script>},
  });
  return readMembers<Scenario>(field, table, target);
}

std::expected<Scenario, std::string> parseScenario(std::string_view bytes) {
  const auto json = text::parseJson(bytes);
  if (!json) return std::unexpected("not JSON: " + text::describe(json.error()));
  Scenario scenario;
  if (Checked checked = read(Field{*json, ""}, scenario); !checked) {
    return std::unexpected(checked.error());
  }
  return scenario;
}

}  // namespace parlen::simulated
