"""Compares what a parent says, and what has really happened, with what a scenario asks for."""

import json

from kit import record

OUTCOMES = ("done", "shut-down", "switched-off", "failed", "killed", "unknown-protocol", "unsupported")
NOTICED = ("held", "network-lost")
ACTIONS = ("later", "done")
KEY_DOWN = 10  # the type of such an event in the trace
LEFT_OUT = "the parent does not support this"

COMMANDS = ("stop", "pause", "resume", "text", "key", "window")
REFUSALS = ("pause-refused", "resume-refused", "input-failed")
# The answer that each command waits for: the event's type and one of its members.
ANSWERS = {"pause": ("guest-power", "state", "paused"), "resume": ("guest-power", "state", "resumed"),
           "text": ("input-done", "input", "text"), "key": ("input-done", "input", "key")}


def verdict_of(output):
    """The parent's last line, or None if that is no verdict."""
    lines = [line for line in output.read_text(errors="replace").split("\n") if line.strip()]
    try:
        verdict = json.loads(lines[-1])
    except (IndexError, ValueError):
        return None
    return verdict if isinstance(verdict, dict) and verdict.get("outcome") in OUTCOMES else None


def faults(case, world, output, stopped_waiting, left_over):
    """A sentence for each fault; LEFT_OUT alone if the parent says that it cannot do such things."""
    found = [stopped_waiting] if stopped_waiting else []
    if left_over:
        found.append("the parent has ended, but not its tool")
    starts = record.starts(world.records)
    verdict = verdict_of(output)
    if verdict == {"outcome": "unsupported"} and not starts:
        return [LEFT_OUT]
    if case.expected.outcome and not stopped_waiting:
        found += _faults_of_verdict(case.expected, verdict, world)
    starts = [start for start in starts if start.arguments[:1] == list(case.arguments[:1])]
    if not starts:
        return [*found, "the parent has not started the tool"]
    return found + _faults_of_truth(case.truth, starts) + _faults_of_commands(starts, case)


def _faults_of_verdict(expected, verdict, world):
    if verdict is None:
        return ["the parent's last line is no verdict"]
    found = []

    def compare(name, said, wanted):
        if said != wanted:
            found.append(f"{name} is {json.dumps(said)} and should be {json.dumps(wanted)}")

    compare("outcome", verdict.get("outcome"), expected.outcome)
    compare("code", verdict.get("code"), expected.code)
    compare("answers", verdict.get("answers", []), list(expected.answers))
    noticed = verdict.get("noticed", [])
    compare("noticed", sorted(set(noticed)), sorted(expected.noticed))
    if expected.actions is not None:
        compare("actions", verdict.get("actions", []), list(expected.actions))
    last = verdict.get("last")
    for name, value in expected.last.items():
        wanted = world.fill_in(value) if isinstance(value, str) else value
        compare(f"last.{name}", last.get(name) if isinstance(last, dict) else None, wanted)
    return found


def _typed(trace):
    """The characters of the keys that were pressed."""
    keys = [call for call in trace if call["call"] == "application.sendEvent" and call["type"] == KEY_DOWN]
    return "".join(key["characters"] for key in keys)


def _faults_of_truth(truth, starts):
    trace = [call for start in starts for call in start.trace]
    calls = [call["call"] for call in trace]
    labels = {call["label"]: call["text"] for call in trace if call["call"] == "label.setText"}
    found = [f"{name} was not called" for name in truth.calls if name not in calls]
    found += [f"{name} was called" for name in truth.never if name in calls]
    if truth.typed is not None and _typed(trace) != truth.typed:
        found.append(f"{_typed(trace)!r} was typed, and not {truth.typed!r}")
    for label, text in truth.labels.items():
        if labels.get(label) != text:
            found.append(f"the {label} is not the text that was asked for")
    return found


def _faults_of_commands(starts, case):
    found = []
    for start in starts:
        found += _faults_of_order(start.lines, case)
    return list(dict.fromkeys(found))


def _faults_of_order(lines, case):
    """Each command on its own: one that is answered is sent after the answer to the one before."""
    pending, running, found = None, False, []
    waits_for_running = {"wait": "running"} in case.steps[:1]
    for sender, line, message in lines:
        if sender == "tool":
            running = running or message.get("state") in ("running", "stopped")
            if pending and _answers(message, pending):
                pending = None
            continue
        kind = message.get("type")
        if kind not in COMMANDS:
            found.append(f"no command: {line[:60]!r}")
        elif kind != "stop" and waits_for_running and not running:
            found.append(f"{kind} was sent before the guest ran")
        if kind in ANSWERS:
            if pending:
                found.append(f"{kind} was sent before the answer to {pending}")
            pending = kind
    return found


def _answers(event, command):
    kind, member, value = ANSWERS[command]
    if event.get("type") == "error" and event.get("code") in REFUSALS:
        return True
    return event.get("type") == kind and event.get(member) == value
