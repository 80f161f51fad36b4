"""Runs of the real program on the simulated host, one for each way in which a subcommand ends."""

import contextlib
import ctypes
import dataclasses
import io
import json
import os
import pathlib
import resource
import select
import signal
import subprocess
import sys
import tempfile
import unittest.mock

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "support"))

from seen_lines import keep, keep_file  # noqa: E402

PROGRAM = os.environ["PARLEN_PROGRAM"]
TIMEOUT = 120  # seconds; for a machine with much other work
PTRACE_TRACEME, PTRACE_DETACH, PTRACE_SYSCALL = 0, 17, 24
ANSWERS = ("guest-power", "input-done", "window-action")
REFUSALS = ("pause-refused", "resume-refused", "input-failed")


class World:
    """A folder with a restore image, an installed guest `vm1`, and the program in PATH."""

    def __init__(self, test):
        folder = tempfile.TemporaryDirectory()
        test.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        (self.folder / "bin").mkdir()
        (self.folder / "bin/parlen-mac-vm").symlink_to(PROGRAM)
        (self.folder / "image").write_text('{"simulatedRestoreImage":1,"hardwareModel":"sim-1"}')
        self.environment = {**os.environ, "PARLEN_HOST": "simulated",
                            "PATH": f"{self.folder}/bin:{os.environ['PATH']}"}
        self.play("create", "--ipsw", "image", "--bundle", "vm1", "--disk-gb", "80")
        self.play("create", "--ipsw", "image", "--bundle", "linked", "--disk-gb", "1")
        (self.folder / "linked/share").rmdir()
        (self.folder / "linked/share").symlink_to("../bin")

    def scenario(self, scenario):
        path = self.folder / "scenario.json"
        path.write_text(json.dumps(scenario))
        keep_file("scenario", path)
        return {**self.environment, "PARLEN_SCENARIO": str(path)}

    def start(self, *arguments, scenario=None, in_child=lambda: None):
        def prepare():
            resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
            in_child()

        return subprocess.Popen(["parlen-mac-vm", *arguments], cwd=self.folder, env=self.scenario(scenario or {}),
                                stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
                                preexec_fn=prepare)

    def play(self, *arguments, scenario=None, steps=()):
        """Runs a subcommand to its end. Each step is a command or a signal; the first is taken when the
        guest runs, or before it does if it begins with "early:", each later one after an answer."""
        steps = list(steps)
        tool = self.start(*arguments, scenario=scenario)
        lines = []
        for line in tool.stdout:
            lines.append(line.rstrip("\n"))
            event = json.loads(line)
            early = event.get("state") == "starting" and bool(steps) and str(steps[0]).startswith("early:")
            if steps and (early or event.get("state") == "running" or answers(event)):
                take(tool, steps.pop(0))
        return self.finish(tool, arguments[0], lines)

    def play_with_signal_at_first_event(self, number, *arguments):
        """Linux: the tool is held in the system call that writes its first event until the signal is sent."""
        system = ctypes.CDLL(None, use_errno=True)

        def trace(request, pid=0):
            if system.ptrace(request, pid, None, None) != 0:
                raise OSError(ctypes.get_errno(), "ptrace")

        tool = self.start(*arguments, in_child=lambda: trace(PTRACE_TRACEME))
        os.waitpid(tool.pid, 0)
        while not select.select([tool.stdout], [], [], 0)[0]:
            trace(PTRACE_SYSCALL, tool.pid)
            os.waitpid(tool.pid, 0)
        tool.send_signal(number)
        trace(PTRACE_DETACH, tool.pid)
        return self.finish(tool, arguments[0], [line.rstrip("\n") for line in tool.stdout])

    def finish(self, tool, subcommand, lines):
        tool.stdin.close()
        errors = tool.stderr.read()
        tool.stderr.close()
        tool.stdout.close()
        keep("event", lines)
        for settings in self.folder.glob("*/vm.json"):
            keep_file("vm", settings)
        return Session(subcommand, lines, errors, tool.wait(timeout=TIMEOUT))


def answers(event):
    return event["type"] in ANSWERS or event.get("code") in REFUSALS


def take(tool, step):
    if isinstance(step, signal.Signals):
        return tool.send_signal(step)
    step = step.removeprefix("early:")
    if step.startswith("SIG"):
        return tool.send_signal(signal.Signals[step])
    keep("command", step.split("\n"))
    tool.stdin.write(step + "\n")
    tool.stdin.flush()


def sent_by(parent, lines):
    """What a parent, given as Python, writes to a tool that says these lines."""
    tool = unittest.mock.Mock(stdout=lines)
    with unittest.mock.patch("subprocess.Popen", return_value=tool), contextlib.redirect_stdout(io.StringIO()):
        exec(compile(parent, "parent", "exec"), {})
    written = [call.args[0] for call in tool.stdin.write.call_args_list]
    return b"".join(part if isinstance(part, bytes) else part.encode() for part in written).decode()


@dataclasses.dataclass(frozen=True)
class Session:
    """What a run of a subcommand said, and how it ended."""

    subcommand: str
    lines: list
    errors: str
    status: int

    @property
    def events(self):
        return [json.loads(line) for line in self.lines]


STOP = '{"type":"stop"}'
RUNNING = '{"type":"state","state":"running"}'
UNKNOWN = '{"type":"weather","state":"running","code":"boot-failed"}'
CLICKS = [{"atMs": 100 * n, "event": "clicks-later"} for n in range(1, 200)]
FULL_DISK = {"atMs": 50, "event": "disk-fills", "error": {"description": "No space left on device"}}
LIMIT = {"startError": {"domain": "VZErrorDomain", "code": 6, "description": "too many machines"}}
RUN = ("run", "--bundle", "vm1")


def fails_at(milliseconds):
    return [{"atMs": milliseconds, "event": "stops-with-error", "error": {"description": "the disk burnt"}}]


# (the beginning of the row in the table of ends, arguments, scenario, steps)
ENDS = (
    ("`error`, `bad-usage`", ("run",), {}, ()),
    ("`error`, `bad-usage`", ("fly",), {}, ()),
    ("`error`, `bad-usage`", ("status",), {}, ()),
    ("`error`, `bad-usage`", ("clone",), {}, ()),
    ("`error`, `bad-usage`", ("create",), {}, ()),
    ("`error`, `bad-usage`", ("window-size-check",), {}, ()),
    ("`window-size`", ("window-size-check", "--visible", "0,0,1512,949"), {}, ()),
    ("nothing: numbers", ("window-size-check", "--visible", "1e300,0,800,600"), {}, ()),
    ("`status`", ("status", "--bundle", "vm1"), {}, ()),
    ("`status`", ("status", "--bundle", "nothing"), {}, ()),
    ("`error`", ("status", "--bundle", "\udcff"), {}, ()),
    ("`cloned`", ("clone", "--from", "vm1", "--to", "copy"), {}, ()),
    ("`cloned`", ("clone", "--from", "vm1", "--to", "copy2", "--regenerate-machine-id"), {}, ()),
    ("`cloned`", ("clone", "--from", "linked", "--to", "copy4"), {}, ()),
    ("`error`", ("clone", "--from", "nothing", "--to", "copy3"), {}, ()),
    ("`created`", ("create", "--ipsw", "image", "--bundle", "new", "--disk-gb", "1"), {}, ()),
    ("`error`", ("create", "--ipsw", "image", "--bundle", "vm1"), {}, ()),
    ("`error`", ("create", "--ipsw", "none", "--bundle", "new2"), {}, ()),
    ("nothing more: any signal", ("create", "--ipsw", "image", "--bundle", "new3"),
     {"install": {"stepMs": 60000}}, ("early:SIGTERM",)),
    ("nothing more: `--disk-gb`", ("create", "--ipsw", "image", "--bundle", "new4", "--disk-gb", "-1"), {}, ()),
    ("`error` before `starting`", ("run", "--bundle", "nothing"), {}, ()),
    ("`error` before `starting`", RUN, {"host": {"maximumCPUCount": 1, "processorCount": 1}}, ()),
    ("`stopped`, `\"crashed\":true`", RUN, {"machine": LIMIT}, ()),
    ("`stopped`, `\"crashed\":true`", RUN, {"script": fails_at(1)}, ()),
    ("`stopped`, \"guest stopped", RUN, {"script": [{"atMs": 50, "event": "guest-stops"}]}, ()),
    ("`stopped`, \"guest stopped", RUN, {"script": CLICKS},
     ('{"type":"pause"}', '{"type":"pause"}', '{"type":"resume"}', '{"type":"resume"}',
      '{"type":"window","show":true,"title":"Please log in"}', STOP)),
    ("`stopped`, \"guest stopped", (*RUN, "--gui"), {},
     ('{"type":"window","show":true}\n{"type":"text","text":"ab","delayMs":20}', '{"type":"text","text":"\u00e9"}', '{"type":"key","key":"tab"}', STOP)),
    ("`stopped`, \"host requested stop\"", RUN, {}, (signal.SIGTERM,)),
    ("`stopped`, \"host requested stop\"", RUN,
     {"machine": {"requestStopError": {}}, "script": [{"atMs": 50, "event": "network-disconnects"}, *CLICKS]},
     ('nonsense\n{"type":"dance"}\n{"type":"window","show":true}', STOP)),
    ("`stopped`, \"host requested stop\"", RUN, {"machine": {"startMs": 60000}}, ("early:" + STOP,)),
    ("`stopped`, \"host requested stop\"", RUN, {"script": [FULL_DISK, *CLICKS]},
     ('{"type":"window","show":true}', STOP)),
    ("`stopped`, `\"crashed\":false`", RUN, {"machine": {"shutdownMs": None}, "script": fails_at(1500)}, (STOP,)),
    ("nothing more: SIGHUP", RUN, {}, (signal.SIGHUP,)),
    ("nothing more: SIGHUP", RUN, {}, (signal.SIGKILL,)),
)


def all_sessions(world):
    """Each way to end, with the row of the table that describes it."""
    sessions = [(row, world.play(*arguments, scenario=scenario, steps=steps))
                for row, arguments, scenario, steps in ENDS]
    if sys.platform == "linux":
        early = "nothing more: SIGTERM, SIGINT before `starting`"
        sessions += [(early, world.play_with_signal_at_first_event(number, *RUN))
                     for number in (signal.SIGTERM, signal.SIGINT)]
    return sessions
