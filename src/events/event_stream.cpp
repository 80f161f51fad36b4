#include "events/event_stream.h"

#include <array>
#include <cstddef>
#include <cstdio>

#include "platform/platform.h"
#include "text/json_writer.h"
#include "text/utf8.h"

namespace parlen {

// Set by start-up; see the declaration.
constinit std::unique_ptr<platform::SerialQueue> outputQueue;

std::string jsonEscape(std::string_view text) { return text::quoteJson(text).value_or("\"\""); }

std::string jsonEscapeRepaired(std::string_view text) { return jsonEscape(text::repairUtf8(text)); }

void emit(std::string_view line) {
  outputQueue->sync([line] {
    std::string bytes(line);
    bytes += '\n';
    platform::system().streams().writeOutput(bytes);
  });
}

void emitReady() { emit(R"({"type":"ready","proto":)" + std::to_string(vmProto) + "}"); }

void emitState(std::string_view state) {
  emit(R"({"type":"state","state":")" + std::string(state) + R"("})");
}

void emitStopped(bool crashed, std::string_view reason) {
  emit(R"({"type":"state","state":"stopped","crashed":)" + std::string(crashed ? "true" : "false") +
       R"(,"reason":)" + jsonEscapeRepaired(reason) + "}");
}

void emitError(std::string_view code, std::string_view message) {
  emit(R"({"type":"error","code":")" + std::string(code) + R"(","message":)" +
       jsonEscapeRepaired(message) + "}");
}

void emitGuestPower(std::string_view state) {
  emit(R"({"type":")" + std::string(guestPowerEvent) + R"(","state":")" + std::string(state) +
       R"("})");
}

void emitProgress(double fraction) {
  // The largest double has 309 digits before its point. printf and not to_chars: the latter draws
  // in the mathematical library, and the process never leaves the C locale.
  std::array<char, 320> digits{};
  const int length = std::snprintf(digits.data(), digits.size(), "%.4f", fraction);
  emit(R"({"type":"progress","fraction":)" +
       std::string(digits.data(), static_cast<std::size_t>(length)) + "}");
}

void die(std::string_view code, std::string_view message) {
  emitError(code, message);
  platform::system().process().exit(1);
}

void warn(std::string_view text) {
  platform::system().streams().writeError("parlen-mac-vm: " + std::string(text) + "\n");
}

}  // namespace parlen
