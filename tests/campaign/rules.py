"""What must hold for each run of the program, whatever was done to it."""

import json
import resource
import signal

STATES = ("starting", "running", "stopped")
# The types of each subcommand's lines.
TYPES = {
    "create": {"ready", "progress", "state", "created", "error"},
    "clone": {"cloned", "error"},
    "run": {"ready", "state", "guest-power", "error", "input-done", "window-action"},
    "status": {"status", "error"},
}
CODES = {"bad-usage", "bundle-exists", "bundle-missing", "ipsw-missing", "ipsw-unreadable",
         "ipsw-unsupported", "create-failed", "clone-failed", "status-failed", "boot-failed",
         "vm-limit", "pause-refused", "resume-refused", "input-failed"}
# After these a run goes on.
PASSING_CODES = {"pause-refused", "resume-refused", "input-failed"}
WARNING_PREFIX = b"parlen-mac-vm: "


class Violation(Exception):
    """A rule was broken."""


def require(condition, text):
    if not condition:
        raise Violation(text)


def parse(line):
    """An event line; None if it is none."""
    try:
        event = json.loads(line.decode())
    except ValueError:
        return None
    return event if isinstance(event, dict) else None


def check(tool):
    """Looks at a run that has ended. Returns its end in a few words; raises Violation."""
    if is_beyond_sanitizer(tool):
        return "beyond the sanitizer"
    events = lines_of(tool)
    check_order(tool, events)
    check_answers(tool, events)
    check_status(tool, events)
    check_warnings(tool)
    return end_of(tool, events)


def is_beyond_sanitizer(tool):
    """Whether UndefinedBehaviorSanitizer has ended it for lack of descriptors: it opens a pipe to
    see whether an object may be read, and takes a failure of that for an object that may not."""
    return resource.RLIMIT_NOFILE in tool.limits and \
        b"invalid vptr\n<memory cannot be printed>" in tool.errors


def lines_of(tool):
    known = TYPES[tool.subcommand]
    events = []
    for line in tool.lines:
        event = parse(line)
        require(event is not None, f"a line is no JSON object: {line[:200]!r}")
        require(event.get("type") in known, f"an unknown type: {line[:200]!r}")
        if event["type"] not in ("status",):
            require(line.startswith(b'{"type":"'), f"the type is not the first member: {line!r}")
        if event["type"] == "error":
            require(event.get("code") in CODES, f"an unknown code: {line[:200]!r}")
            require(isinstance(event.get("message"), str), f"no message: {line[:200]!r}")
        if event["type"] == "state":
            require(event.get("state") in STATES, f"an unknown state: {line[:200]!r}")
        events.append(event)
    # Only death in the middle of a write cuts a line.
    cut = bool(tool.output) and tool.status >= 0
    require(not cut, f"the last line has no end: {bytes(tool.output[-200:])!r}")
    return events


# ---- the order of the lines ----

def check_order(tool, events):
    words = [word(event) for event in events]
    {"create": order_of_create, "clone": order_of_one_line, "status": order_of_one_line,
     "run": order_of_run}[tool.subcommand](words, events)


def word(event):
    """An event as one word: its type, a state's name, or error and code."""
    if event["type"] == "state":
        return event["state"]
    return f"error {event['code']}" if event["type"] == "error" else event["type"]


def order_of_one_line(words, _):
    require(len(words) <= 1, f"more than one line: {words}")


def order_of_create(words, _):
    rest = list(words)
    require(not rest or rest[0] == "ready" or rest == ["error bad-usage"],
            f"the first line is not ready: {words}")
    ends = [i for i, each in enumerate(rest) if each == "created" or each.startswith("error ")]
    require(ends in ([], [len(rest) - 1]), f"something follows the end: {words}")
    for once in ("ready", "starting", "created"):
        require(rest.count(once) <= 1, f"more than one '{once}': {words}")
    require("running" not in rest and "stopped" not in rest, f"a create runs nothing: {words}")
    if "created" in rest:
        require("starting" in rest and "progress" in rest, f"a line is missing: {words}")


def order_of_run(words, events):
    require(not words or words[0] == "ready" or words == ["error bad-usage"],
            f"the first line is not ready: {words}")
    for once in ("ready", "starting", "running", "stopped"):
        require(words.count(once) <= 1, f"more than one '{once}': {words}")
    if "stopped" in words:
        require(words[-1] == "stopped", f"something follows stopped: {words}")
        check_stopped(words, events)
    if "running" in words:
        require("starting" in words[:words.index("running")], f"running before starting: {words}")
    if "guest-power" in words:
        require("running" in words[:words.index("guest-power")],
                f"paused or resumed before running: {words}")
    fatal = [i for i, each in enumerate(words)
             if each.startswith("error ") and each.split()[1] not in PASSING_CODES]
    require(len(fatal) <= 1, f"more than one fatal error: {words}")
    require(not fatal or set(words[fatal[0] + 1:]) <= {"stopped"},
            f"something follows a fatal error: {words}")


def check_stopped(words, events):
    stopped = events[-1]
    require(set(stopped) == {"type", "state", "crashed", "reason"} and
            isinstance(stopped["crashed"], bool) and isinstance(stopped["reason"], str),
            f"stopped has other members: {stopped}")
    before = events[-2] if len(events) > 1 else {}
    failed = before.get("type") == "error" and before["code"] not in PASSING_CODES
    require(failed or not stopped["crashed"], f"a crash without its error: {words}")
    if failed:
        require(before["code"] in ("boot-failed", "vm-limit") and
                before["message"] == stopped["reason"], f"not the error's own reason: {words}")


# ---- what the parent asked for, and how it was answered ----

def check_answers(tool, events):
    if tool.subcommand != "run":
        return
    powers = [event["state"] for event in events if event["type"] == "guest-power"]
    codes = [event["code"] for event in events if event["type"] == "error"]
    for verb, done in (("pause", "paused"), ("resume", "resumed")):
        answers = powers.count(done) + codes.count(f"{verb}-refused")
        require(answers <= tool.commands[verb],
                f"{answers} answers to {tool.commands[verb]} commands '{verb}'")
    inputs = sum(event["type"] == "input-done" for event in events)
    require(inputs + codes.count("input-failed") <= tool.commands["text"] + tool.commands["key"],
            "more answers than texts and keys")
    if events and events[-1].get("reason") == "host requested stop":
        require(tool.stop_requested, "a stop that nobody requested")


# ---- the exit status ----

def check_status(tool, events):
    if tool.status < 0:
        check_death(tool, -tool.status)
    elif cannot_start(tool):
        return
    elif "stdout" in tool.closed_early:
        require(tool.status in (0, 1), f"the exit status is {tool.status}")
    else:
        require(events, f"no line at all, and exit status {tool.status}")
        expected = expected_status(tool, events[-1])
        require(tool.status == expected,
                f"the exit status is {tool.status} after {word(events[-1])}, not {expected}")


def cannot_start(tool):
    """Whether not even the C library's loader could do its work; then nothing of ours has run."""
    return tool.status == 127 and b"error while loading shared libraries" in tool.errors


def expected_status(tool, last):
    """What belongs to the last line; 0 or 1, or None for a line that cannot be the last."""
    if last["type"] in ("created", "cloned", "status"):
        return 0
    if last["type"] == "state" and last["state"] == "stopped":
        return 1 if last["crashed"] else 0
    if last["type"] == "error" and last["code"] not in PASSING_CODES:
        return None if tool.subcommand == "run" and tool.has_started else 1
    return None


def check_death(tool, number):
    name = signal.Signals(number).name
    if number == signal.SIGPIPE and tool.closed_early:
        return
    sent = [each for each in tool.sent if each.number == number]
    require(sent, f"it died of {name}, which nobody sent")
    require(any(each.default for each in sent), f"it died of {name}, which it handled")
    if tool.subcommand == "run" and number in (signal.SIGTERM, signal.SIGINT):
        require(not all(each.started for each in sent), f"{name} was not handled after starting")


# ---- standard error ----

def check_warnings(tool):
    errors = bytes(tool.errors)
    for report in (b"AddressSanitizer", b"runtime error:", b"UndefinedBehaviorSanitizer",
                   b"ThreadSanitizer", b"terminate called", b"Assertion "):
        require(report not in errors,
                f"a report on standard error: {errors[-1500:].decode(errors='replace')}")
    if tool.status < 0 or tool.subcommand == "clone" or cannot_start(tool):
        return  # cut by death; or chmod's
    if not tool.has_input:  # an unknown command is quoted in its warning
        for line in errors.splitlines():
            require(line.startswith(WARNING_PREFIX), f"a warning without its prefix: {line!r}")


def end_of(tool, events):
    if tool.status < 0:
        return signal.Signals(-tool.status).name
    if not events:
        return f"{tool.subcommand} status {tool.status}"
    last = word(events[-1])
    if last == "stopped":
        return "crashed" if events[-1]["crashed"] else "stopped"
    return last
