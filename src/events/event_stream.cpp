#include "events/event_stream.h"

#include <array>
#include <cstddef>
#include <cstdio>
#include <utility>

#include "platform/platform.h"
#include "text/concatenate.h"
#include "text/json_writer.h"
#include "text/utf8.h"

namespace parlen {

// Set by start-up; see the declaration.
constinit std::unique_ptr<platform::SerialQueue> outputQueue;

namespace {

bool writeLine(std::string_view line) {
  return platform::system().streams().writeOutput(text::concatenate({line, "\n"}));
}

/// `value` without its fraction. Traps if that is no 64-bit number.
std::string integer(double value) {
  constexpr double limit = 9223372036854775808.0;  // 2^63
  if (!(value >= -limit && value < limit)) platform::system().process().trap();
  return std::to_string(static_cast<std::int64_t>(value));
}

std::string json(const platform::Rect& rect) {
  return R"({"x":)" + integer(rect.x) + R"(,"y":)" + integer(rect.y) + R"(,"width":)" +
         integer(rect.width) + R"(,"height":)" + integer(rect.height) + "}";
}

}  // namespace

std::string jsonEscape(std::string_view text) { return text::quoteJson(text).value_or("\"\""); }

std::string jsonEscapeRepaired(std::string_view text) {
  auto literal = text::quoteJson(text);
  return literal ? *std::move(literal) : jsonEscape(text::repairUtf8(text));
}

bool emit(std::string_view line) {
  bool written = false;
  outputQueue->sync([line, &written] { written = writeLine(line); });
  return written;
}

void exitAfterReport(bool written) {
  if (!written) warn("the report could not be written to standard output");
  platform::system().process().exit(written ? 0 : 1);
}

void emitReady() { emit(R"({"type":"ready","proto":)" + std::to_string(vmProto) + "}"); }

void emitState(std::string_view state) {
  emit(R"({"type":"state","state":")" + std::string(state) + R"("})");
}

void emitError(std::string_view code, std::string_view message) {
  emit(text::concatenate(
      {R"({"type":"error","code":")", code, R"(","message":)", jsonEscapeRepaired(message), "}"}));
}

void die(std::string_view code, std::string_view message) {
  emitError(code, message);
  platform::system().process().exit(1);
}

void emitProgress(double fraction) {
  // The largest double has 309 digits before its point. Not to_chars, which would link the
  // mathematical library; the process never leaves the C locale, so printf writes a point.
  std::array<char, 320> digits{};
  const int length = std::snprintf(digits.data(), digits.size(), "%.4f", fraction);
  emit(R"({"type":"progress","fraction":)" +
       std::string(digits.data(), static_cast<std::size_t>(length)) + "}");
}

bool emitCreated(std::string_view bundle) {
  return emit(R"({"type":"created","bundle":)" + jsonEscapeRepaired(bundle) + "}");
}

void emitStopped(bool crashed, std::string_view reason) {
  emit(R"({"type":"state","state":"stopped","crashed":)" + std::string(crashed ? "true" : "false") +
       R"(,"reason":)" + jsonEscapeRepaired(reason) + "}");
}

void emitGuestPower(std::string_view state) {
  emit(R"({"type":")" + std::string(guestPowerEvent) + R"(","state":")" + std::string(state) +
       R"("})");
}

void emitInputDone(std::string_view verb) {
  emit(R"({"type":"input-done","input":")" + std::string(verb) + R"("})");
}

void emitWindowAction(std::string_view action) {
  emit(R"({"type":"window-action","action":")" + std::string(action) + R"("})");
}

bool emitCloned(std::string_view from, std::string_view to, const platform::MacAddress& address,
                MachineIdChoice choice) {
  return emit(R"({"type":"cloned","from":)" + jsonEscapeRepaired(from) + R"(,"to":)" +
              jsonEscapeRepaired(to) + R"(,"macAddress":")" + platform::toString(address) +
              R"(","machineIdentifier":")" +
              (choice == MachineIdChoice::regenerate ? "regenerated" : "kept") + R"("})");
}

std::optional<std::string> statusLine(const StatusReport& report) {
  text::JsonObject members{
      {"auxiliaryStorage", report.auxiliaryStorage},
      {"bundle", report.bundle},
      {"disk", report.disk},
      {"exists", report.exists},
      {"guestConfig", report.guestConfig},
      {"hardwareModel", report.hardwareModel},
      {"machineIdentifier", report.machineIdentifier},
      {"supported", report.supported},
      {"type", "status"},
  };
  const auto add = [&members](const char* name, const auto& known) {
    if (known) members.emplace(name, *known);
  };
  add("cpuCount", report.cpuCount);
  add("diskBytes", report.diskBytes);
  add("diskGb", report.diskGb);
  add("macAddress", report.macAddress);
  add("memoryBytes", report.memoryBytes);

  return text::writeCompactSorted(std::move(members));
}

bool emitWindowSize(const platform::Rect& content, const platform::Rect& frame) {
  // One whole line or none: every number is converted before the first byte is written.
  return writeLine(R"({"type":"window-size","content":)" + json(content) + R"(,"frame":)" +
                   json(frame) + "}");
}

void warn(std::string_view text) {
  platform::system().streams().writeError(text::concatenate({"parlen-mac-vm: ", text, "\n"}));
}

}  // namespace parlen
