#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "platform/event_loop.h"

/// What the parent hears: events on standard output, one JSON object a line, and warnings for
/// people on standard error. Any thread may call the writers, except from work on `outputQueue`
/// itself.
namespace parlen {

/// The version of the protocol that `ready` announces.
inline constexpr int vmProto = 1;
/// The type word of the pause and resume events.
inline constexpr std::string_view guestPowerEvent = "guest-power";

/// Every write to standard output runs on this queue, so lines never interleave. Set at start-up.
extern std::unique_ptr<platform::SerialQueue> outputQueue;

/// The JSON string literal for `text`, quotes included and every slash escaped; the empty literal
/// if `text` is not valid UTF-8.
std::string jsonEscape(std::string_view text);

/// The same for a text from outside, such as a path or a host's sentence, which may hold any bytes:
/// what is not UTF-8 is shown as U+FFFD, so that the rest still reaches the parent.
std::string jsonEscapeRepaired(std::string_view text);

/// Writes `line` and a line feed as one piece. Returns after the write; blocks while the parent
/// does not read.
void emit(std::string_view line);

void emitReady();
/// `state` is one of the program's own words; it is pasted into the line as it is.
void emitState(std::string_view state);
void emitStopped(bool crashed, std::string_view reason);
/// `code` is one of errorCode's words.
void emitError(std::string_view code, std::string_view message);
/// `state` is "paused" or "resumed".
void emitGuestPower(std::string_view state);
/// Writes the fraction with four decimals; it is not clamped.
void emitProgress(double fraction);

/// Writes an `error` event and ends the process with status 1.
[[noreturn]] void die(std::string_view code, std::string_view message);

/// Writes a prefixed line to standard error, past the queue and unordered with the events.
void warn(std::string_view text);

}  // namespace parlen
