#pragma once

#include <string>

#include "events/event_stream.h"

namespace parlen::test {

/// The lines that a parent reads, without their line feeds.
inline const std::string ready = R"({"type":"ready","proto":1})";
inline const std::string starting = R"({"type":"state","state":"starting"})";
inline const std::string running = R"({"type":"state","state":"running"})";
inline const std::string paused = R"({"type":"guest-power","state":"paused"})";
inline const std::string resumed = R"({"type":"guest-power","state":"resumed"})";
inline const std::string textDone = R"({"type":"input-done","input":"text"})";
inline const std::string keyDone = R"({"type":"input-done","input":"key"})";
inline const std::string later = R"({"type":"window-action","action":"later"})";
inline const std::string done = R"({"type":"window-action","action":"done"})";

inline std::string error(const std::string& code, const std::string& message) {
  return R"({"type":"error","code":")" + code + R"(","message":)" + jsonEscape(message) + "}";
}

inline std::string stopped(const std::string& reason, bool crashed = false) {
  return R"({"type":"state","state":"stopped","crashed":)" +
         std::string(crashed ? "true" : "false") + R"(,"reason":)" + jsonEscape(reason) + "}";
}

inline const std::string hardStop = stopped("host requested stop");

/// `fraction` with its four decimals.
inline std::string progress(const std::string& fraction) {
  return R"({"type":"progress","fraction":)" + fraction + "}";
}

inline std::string created(const std::string& bundle) {
  return R"({"type":"created","bundle":)" + jsonEscape(bundle) + "}";
}

}  // namespace parlen::test
