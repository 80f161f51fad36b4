#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/platform.h"
#include "support/temporary_directory.h"
#include "support/test_system.h"

namespace parlen::test {

/// How an in-process run of the tool came to its end.
struct Outcome {
  std::optional<int> status;  // of an orderly end
  bool trapped = false;
  bool waiting = false;  // nothing more would ever happen: it goes on until something from outside

  friend bool operator==(const Outcome&, const Outcome&) = default;
};

inline Outcome endedWith(int status) { return {status, false, false}; }
inline Outcome trapped() { return {std::nullopt, true, false}; }
inline Outcome stillRunning() { return {std::nullopt, false, true}; }

/// The whole tool in this process, on the simulated host and a virtual clock: given a scenario,
/// some files and what the parent sends when, run a command line and look at what it wrote.
class Tool {
 public:
  /// `scenario` is the JSON text of one; the default is the one in which everything works.
  explicit Tool(std::string_view scenario = "{}");
  ~Tool();
  Tool(const Tool&) = delete;
  Tool& operator=(const Tool&) = delete;

  Outcome run(std::vector<std::string> arguments);

  /// Sends bytes to standard input, or closes it, so many milliseconds after the tool's start.
  void sendAt(int milliseconds, std::string_view bytes);
  void closeInputAt(int milliseconds) { sendAt(milliseconds, ""); }
  /// Delivers a signal.
  void raiseAt(int milliseconds, platform::TerminationSignal signal);

  /// The event lines written to standard output.
  std::vector<std::string> events() { return system_.streams().lines(); }
  std::string warnings() { return system_.streams().error; }
  /// The calls that the simulated host saw, without their times.
  std::vector<std::string> trace();
  /// Only their names.
  std::vector<std::string> calls();
  /// In one order: the event lines, the names of the calls, and what a Recorder is told.
  std::vector<std::string> recording();

  TestSystem& system() { return system_; }
  /// A path in a directory of the test's own.
  std::string path(const std::string& name) const { return directory_ / name; }
  void write(const std::string& name, std::string_view bytes);
  std::string read(const std::string& name);
  void makeDirectory(const std::string& name);

  /// A bundle with an installed guest, its settings included. Returns its path.
  std::string makeBundle(const std::string& name);
  /// A restore image that the default scenario can install. Returns its path.
  std::string makeRestoreImage(const std::string& name);

 private:
  TemporaryDirectory directory_;
  TestSystem system_;
  std::unique_ptr<platform::Host> host_;

  struct Recorded {
    std::string what;
    std::size_t callsBefore;  // how many calls had been traced by then
  };
  std::vector<Recorded> recorded_;
};

}  // namespace parlen::test
