#include "parent_view.h"

#include <algorithm>
#include <utility>

#include "events/error_code.h"
#include "text/json_reader.h"

namespace parlen::explore {
namespace {

bool isPowerChange(std::string_view verb) { return verb == "pause" || verb == "resume"; }

bool asksForAHardStop(std::string_view verb) { return verb == "SIGTERM" || verb == "SIGINT"; }

bool asksForAnEnd(std::string_view verb) {
  return verb == "stop" || verb == "end of input" || asksForAHardStop(verb);
}

std::string_view textOf(const text::JsonValue& line, std::string_view member) {
  return line.text(member).value_or("");
}

/// The verb whose answers have this error code; empty for others.
std::string_view refusedVerb(std::string_view code) {
  if (code == errorCode::pauseRefused) return "pause";
  if (code == errorCode::resumeRefused) return "resume";
  return "";
}

/// The reason of a guest that has shut down, without its seconds.
std::string withoutSeconds(std::string_view reason) {
  const std::size_t after = reason.rfind(" after ");
  const std::size_t history = reason.find("s (", after);
  if (after == std::string_view::npos || history == std::string_view::npos) {
    return std::string(reason);
  }
  return std::string(reason.substr(0, after)) + " after " + std::string(reason.substr(history));
}

/// A hard stop that has completed ends the run, even if it came too late for the machine: a start
/// that failed is told one piece of work later.
std::string endThatCounts(const ObservedMachine& machine) {
  const auto stopped = [](const Call& call) { return call.verb == "stop" && call.result; };
  return std::ranges::any_of(machine.calls(), stopped) ? "stopped hard" : machine.end();
}

}  // namespace

void ParentView::beforeWork(std::string_view label, const ObservedMachine& machine) {
  handled_ = label.substr(0, label.find('#'));
  outcomes_ = 0;
  stateBefore_ = machine.machineState();
  stopAskedBefore_ = stopAsked_;
  couldAskGuest_ = machine.canRequestStop();
  // By what the run is told, not by what it makes of it.
  if (asksForAnEnd(handled_)) stopAsked_ = true;
}

void ParentView::afterStep(const std::vector<std::string>& lines, std::optional<int> status,
                           const ObservedMachine& machine) {
  accept(machine);
  checkStops(machine.stops());
  for (const std::string& line : lines) {
    constexpr int linesBeforeTheStart = 2;  // "ready" and "starting"
    if (++linesRead_ > linesBeforeTheStart) readLine(line, machine);
  }
  if (isPowerChange(handled_) && outcomes_ != 1) {
    finding(handled_ + " has had " + std::to_string(outcomes_) + " outcomes");
  }
  handled_.clear();
  if (status) return checkEnd(*status, machine);
  if (!endLines_.empty()) finding("the run goes on after its last line");
}

/// The calls that the run has made of the command that it handled.
void ParentView::accept(const ObservedMachine& machine) {
  for (; callsSeen_ < machine.calls().size(); ++callsSeen_) {
    const std::string& verb = machine.calls()[callsSeen_].verb;
    if (!isPowerChange(verb)) continue;
    if (verb != handled_) finding(verb + " was called without its command");
    ++outcomes_;
    unanswered_.push_back(callsSeen_);
  }
}

/// A signal stops the machine hard. The first command or end of input that asks for an end asks the
/// guest, and what cannot be asked is stopped hard. Nothing else stops the machine.
void ParentView::checkStops(const Stops& now) {
  const bool asksGuest = asksForAnEnd(handled_) && !asksForAHardStop(handled_) && !stopAskedBefore_;
  const bool mayAsk = asksGuest && couldAskGuest_;
  const bool isRefused = now.refused != stopsBefore_.refused;
  const bool stopsHard = asksForAHardStop(handled_) || (asksGuest && (!mayAsk || isRefused));
  const Stops expected{.requests = stopsBefore_.requests + (mayAsk ? 1 : 0),
                       .refused = now.refused,
                       .hard = stopsBefore_.hard + (stopsHard ? 1 : 0)};
  if (now != expected) {
    finding("the machine was stopped otherwise than \"" + handled_ + "\" asks for");
  }
  stopsBefore_ = now;
}

void ParentView::readLine(const std::string& text, const ObservedMachine& machine) {
  const auto line = text::parseJson(text);
  if (!line) return finding("a line that is no JSON: " + text);
  if (!endLines_.empty() && textOf(endLines_.back(), "state") == "stopped") {
    return finding("a line after the last one: " + text);
  }
  const std::string_view type = textOf(*line, "type");
  const std::string_view state = textOf(*line, "state");
  if (type == "guest-power") {
    readAnswer(state == "paused" ? "pause" : "resume", std::nullopt, machine);
  } else if (type == "error") {
    readError(*line, machine);
  } else if (type == "state" && state == "stopped") {
    endLines_.push_back(*line);
  } else if (type == "state" && state == "running") {
    const Call& start = machine.calls().front();
    if (sawRunning_ || !start.result || !*start.result) finding("no start has completed");
    sawRunning_ = true;
  } else {
    finding("a line that nobody asked for: " + text);
  }
}

void ParentView::readError(const Line& line, const ObservedMachine& machine) {
  const std::string_view verb = refusedVerb(textOf(line, "code"));
  if (verb.empty()) return endLines_.push_back(line);
  const std::string_view message = textOf(line, "message");
  const std::string failed =
      (verb == "pause" ? "pausing" : "resuming") + std::string(" the guest failed: ");
  if (!message.starts_with(failed)) return readRefusal(verb, message);
  readAnswer(verb, message.substr(failed.size()), machine);
}

/// A refusal comes at once, while its command is handled.
void ParentView::readRefusal(std::string_view verb, std::string_view message) {
  const std::string expected =
      "cannot " + std::string(verb) + " the guest: the VM is " + wordOf(stateBefore_);
  const auto possibleIn =
      verb == "pause" ? platform::MachineState::running : platform::MachineState::paused;
  ++outcomes_;
  if (handled_ != verb || message != expected || stateBefore_ == possibleIn) {
    finding("a refusal that belongs to no command: " + std::string(message));
  }
}

void ParentView::readAnswer(std::string_view verb, const std::optional<std::string_view>& error,
                            const ObservedMachine& machine) {
  const std::string what = std::string(verb) + (error ? " failed: " + std::string(*error) : "");
  if (unanswered_.empty()) return finding("an answer that nobody waits for: " + what);
  const Call& call = machine.calls()[unanswered_.front()];
  unanswered_.erase(unanswered_.begin());
  if (call.verb != verb) return finding("an answer to " + call.verb + " that says: " + what);
  if (!call.result) return finding("an answer to what has not completed: " + what);
  const bool same = error ? !*call.result && call.result->error().description == *error
                          : call.result->has_value();
  if (!same) finding("an answer that is not what the machine said: " + what);
}

void ParentView::checkEnd(int status, const ObservedMachine& machine) {
  if (endLines_.empty() || textOf(endLines_.back(), "state") != "stopped") {
    return finding("the process has ended without a last line");
  }
  const Line& last = endLines_.back();
  const bool crashed = last.boolean("crashed").value_or(false);
  const std::string_view reason = textOf(last, "reason");
  if (status != (crashed ? 1 : 0)) finding("the status does not fit the last line");
  if (machine.end().empty()) return finding("the run has ended, and the machine has not");

  const std::string end = endThatCounts(machine);
  const bool startFailed = end == "start failed";
  const bool byError = startFailed || end == "stopped with an error";
  if (endLines_.size() != (byError ? 2U : 1U)) finding("the number of lines at the end is wrong");
  if (crashed != (byError && (startFailed || !stopAsked_))) finding("a crash that is none");
  if (byError && reason != textOf(endLines_.front(), "message")) {
    finding("the error and the reason differ");
  }
  if (!byError && withoutSeconds(reason) != expectedReason(machine)) {
    finding("the reason does not fit the end: " + std::string(reason));
  }
}

std::string ParentView::expectedReason(const ObservedMachine& machine) const {
  if (endThatCounts(machine) == "stopped hard") return "host requested stop";
  return std::string("guest stopped ") + (stopAsked_ ? "after host stop request" : "on its own") +
         " after s (" + (sawRunning_ ? "was running" : "never reached running") + ")";
}

void ParentView::whenIdle(const ObservedMachine& machine, const MachineUnderTest& outside) {
  const Call& start = machine.calls().front();
  if (!machine.end().empty()) finding("the machine has ended, and the run goes on");
  if (start.result && !sawRunning_) finding("nobody says that the start has completed");
  const auto stops = [](const Call& call) { return call.verb == "stop"; };
  if (std::ranges::any_of(machine.calls(), stops) && !outside.isEnding()) {
    finding("a hard stop ends nothing");
  }
  for (const std::size_t number : unanswered_) {
    const Call& call = machine.calls()[number];
    if (call.result || outside.owesNothing()) finding("nobody answers the " + call.verb);
  }
  if (!start.result && outside.owesNothing()) finding("nobody completes the start");
  const std::string complaint = outside.complaint(machine.machineState());
  if (!complaint.empty()) finding(complaint);
}

std::string ParentView::fingerprint(const ObservedMachine& machine) const {
  std::string text = std::string(stopAsked_ ? "asked" : "") + (sawRunning_ ? " ran" : "");
  for (const std::size_t number : unanswered_) {
    const Call& call = machine.calls()[number];
    text += " " + call.verb;
    if (call.result) text += *call.result ? " ok" : " not: " + call.result->error().description;
  }
  return text;
}

}  // namespace parlen::explore
