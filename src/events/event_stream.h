#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/event_loop.h"
#include "platform/geometry.h"
#include "platform/mac_address.h"

/// All that the parent hears: events on standard output, one JSON object a line, each with its form
/// above its writer; and warnings for people on standard error. Any thread may call the writers,
/// except from work on `outputQueue` itself. Texts from outside (paths, a host's sentences) may
/// hold any bytes; the other words are the program's own and are pasted into the line as they are.
namespace parlen {

/// The version of the protocol that `ready` announces.
inline constexpr int vmProto = 1;
/// The type word of the pause and resume events.
inline constexpr std::string_view guestPowerEvent = "guest-power";

/// Every event is written on this queue, so lines never interleave. Set at start-up.
extern std::unique_ptr<platform::SerialQueue> outputQueue;

/// The JSON string literal for `text`, quotes included and every slash escaped; the empty literal
/// if `text` is not valid UTF-8.
std::string jsonEscape(std::string_view text);

/// The same for a text from outside: what is not UTF-8 becomes U+FFFD, so that the rest still
/// reaches the parent.
std::string jsonEscapeRepaired(std::string_view text);

/// Writes `line` and a line feed as one piece. Returns after the write; blocks while the parent
/// does not read. False: a write error has dropped some of it.
bool emit(std::string_view line);

/// Ends the process after the report that its subcommand consists of: with status 0, or with 1 and
/// a warning if the report could not be `written`.
[[noreturn]] void exitAfterReport(bool written);

// --- create and run -------------------------------------------------------------------------

/// {"type":"ready","proto":1}
void emitReady();

/// {"type":"state","state":"starting"|"running"}
void emitState(std::string_view state);

/// {"type":"error","code":…,"message":…}      `code` is one of errorCode's words.
void emitError(std::string_view code, std::string_view message);

/// Writes an `error` event and ends the process with status 1.
[[noreturn]] void die(std::string_view code, std::string_view message);

// --- create ---------------------------------------------------------------------------------

/// {"type":"progress","fraction":0.2500}      Four decimals; the fraction is not clamped.
void emitProgress(double fraction);

/// {"type":"created","bundle":…}
[[nodiscard]] bool emitCreated(std::string_view bundle);

// --- run ------------------------------------------------------------------------------------

/// {"type":"state","state":"stopped","crashed":true|false,"reason":…}      The last line of a run.
void emitStopped(bool crashed, std::string_view reason);

/// {"type":"guest-power","state":"paused"|"resumed"}
void emitGuestPower(std::string_view state);

/// {"type":"input-done","input":"text"|"key"}
void emitInputDone(std::string_view verb);

/// {"type":"window-action","action":"later"|"done"}
void emitWindowAction(std::string_view action);

// --- clone, status, window-size-check: one line each ----------------------------------------

/// What a clone does with the guest's machine identifier.
enum class MachineIdChoice { keep, regenerate };

/// {"type":"cloned","from":…,"to":…,"macAddress":…,"machineIdentifier":"kept"|"regenerated"}
[[nodiscard]] bool emitCloned(std::string_view from, std::string_view to,
                              const platform::MacAddress& address, MachineIdChoice choice);

/// What is known of a bundle at rest. Numbers and texts that are not known are left out.
struct StatusReport {
  std::string bundle;
  bool exists = false;
  bool disk = false;
  bool auxiliaryStorage = false;
  bool hardwareModel = false;
  bool machineIdentifier = false;
  bool guestConfig = false;
  bool supported = false;
  std::optional<std::string> macAddress = std::nullopt;
  std::optional<std::int64_t> cpuCount = std::nullopt;
  std::optional<std::uint64_t> memoryBytes = std::nullopt;
  std::optional<std::int64_t> diskGb = std::nullopt;
  std::optional<std::uint64_t> diskBytes = std::nullopt;
};

/// {"auxiliaryStorage":true|false,"bundle":…,"cpuCount":4,"disk":true|false,
///  "diskBytes":85899345920,"diskGb":80,"exists":true|false,"guestConfig":true|false,
///  "hardwareModel":true|false,"macAddress":…,"machineIdentifier":true|false,
///  "memoryBytes":4294967296,"supported":true|false,"type":"status"}      (in one line)
/// The keys are sorted, so this is the one line whose type does not come first. Nothing if a text
/// is not valid UTF-8.
std::optional<std::string> statusLine(const StatusReport& report);

/// {"type":"window-size","content":{"x":…,"y":…,"width":…,"height":…},"frame":{…the same…}}
/// Whole points, fractions cut off. A number beyond 64 bits is a trap, with nothing written.
/// Written past the queue: start-up need not have set it.
[[nodiscard]] bool emitWindowSize(const platform::Rect& content, const platform::Rect& frame);

// --- For people -----------------------------------------------------------------------------

/// Writes a prefixed line to standard error, past the queue and unordered with the events; dropped
/// if nobody reads that stream.
void warn(std::string_view text);

}  // namespace parlen
