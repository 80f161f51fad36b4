#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "observed_machine.h"
#include "text/json_value.h"

namespace parlen::explore {

/// What the parent has asked for and been told, and whether it is what it should have been told:
/// one answer for each pause and resume, its own, in the order in which they were accepted; a
/// refusal at once; one `stopped` line, last, with the words and the status that belong to it. Also
/// whether the machine was stopped when, and only when, something asked for it.
class ParentView {
 public:
  explicit ParentView(Findings& findings) : findings_(findings) {}

  /// Work with this label is about to run: a command, a signal, the end of input or anything else.
  void beforeWork(std::string_view label, const ObservedMachine& machine);
  /// After any step: the lines that the run has written in it. `status` is set if it ended the
  /// process.
  void afterStep(const std::vector<std::string>& lines, std::optional<int> status,
                 const ObservedMachine& machine);
  /// When nothing is queued and the run goes on: whether everything has been said that should be.
  void whenIdle(const ObservedMachine& machine, const MachineUnderTest& outside);

  std::string fingerprint(const ObservedMachine& machine) const;

 private:
  using Line = text::JsonValue;

  void accept(const ObservedMachine& machine);
  void checkStops(const Stops& now);
  void readLine(const std::string& line, const ObservedMachine& machine);
  void readError(const Line& line, const ObservedMachine& machine);
  void readRefusal(std::string_view verb, std::string_view message);
  void readAnswer(std::string_view verb, const std::optional<std::string_view>& error,
                  const ObservedMachine& machine);
  void checkEnd(int status, const ObservedMachine& machine);
  std::string expectedReason(const ObservedMachine& machine) const;
  void finding(std::string what) { findings_.push_back(std::move(what)); }

  Findings& findings_;
  int linesRead_ = 0;
  std::size_t callsSeen_ = 0;
  std::vector<std::size_t> unanswered_;  // the numbers of the calls of pause and resume
  std::string handled_;                  // the verb of the command that runs
  int outcomes_ = 0;                     // of that command: accepted, or refused
  platform::MachineState stateBefore_ = platform::MachineState::stopped;  // of the machine
  bool stopAsked_ = false;
  bool stopAskedBefore_ = false;  // before the work that runs
  bool couldAskGuest_ = false;    // and whether the guest could be asked to stop
  Stops stopsBefore_;
  bool sawRunning_ = false;
  std::vector<Line> endLines_;  // an error that ends the run, and `stopped`
};

}  // namespace parlen::explore
