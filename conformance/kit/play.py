"""Plays one scenario with one parent."""

import dataclasses
import os
import pathlib
import signal
import subprocess
import tempfile
import time

from kit import judge, record
from kit.world import World

POLL = 0.01  # seconds


@dataclasses.dataclass(frozen=True)
class Played:
    """How a scenario went. Without faults the parent has passed."""

    case: object
    faults: list
    seconds: float
    left_out: bool = False


@dataclasses.dataclass(frozen=True)
class Limits:
    """Seconds: for a whole scenario, and for what has to come at once."""

    scenario: float = 30
    grace: float = 5


def kill(pid, number, group=False):
    try:
        (os.killpg if group else os.kill)(pid, number)
    except (ProcessLookupError, PermissionError):
        pass


class Play:
    def __init__(self, case, parent, world, limits):
        self.case, self.world, self.limits = case, world, limits
        self.output, self.notes = world.folder / "parent.out", world.folder / "parent.err"
        self.stopped_waiting = None  # why the parent was not waited for any longer
        self._outside_done = case.outside is None
        self._tool_gone_since = None
        with self.output.open("wb") as output, self.notes.open("wb") as notes:
            self.process = subprocess.Popen([*parent, str(world.request)], stdin=subprocess.DEVNULL,
                                            stdout=output, stderr=notes, start_new_session=True)

    def run(self):
        """Returns the faults."""
        deadline = time.monotonic() + self.limits.scenario
        while self.process.poll() is None and not self.stopped_waiting:
            time.sleep(POLL)
            self._act_from_outside()
            self._watch(time.monotonic(), deadline)
        left_over = self._clean_up()
        return judge.faults(self.case, self.world, self.output, self.stopped_waiting, left_over)

    def _starts(self):
        return [start for start in record.starts(self.world.records)
                if start.arguments[:1] == list(self.case.arguments[:1])]

    def _act_from_outside(self):
        """Sends the scenario's signal once the tool has said the state that it is for."""
        if self._outside_done:
            return
        for start in self._starts():
            if start.has_said(self.case.outside.after):
                self._outside_done = True
                if self.case.outside.target == "tool":
                    kill(start.pid, self.case.outside.signal)
                else:
                    kill(self.process.pid, self.case.outside.signal, group=True)

    def _watch(self, now, deadline):
        starts = record.starts(self.world.records)
        gone = bool(starts) and not any(start.is_alive() for start in starts)
        self._tool_gone_since = (self._tool_gone_since or now) if gone else None
        if gone and now - self._tool_gone_since > self.limits.grace:
            self.stopped_waiting = f"the tool has ended, but not the parent within {self.limits.grace:g} s"
        elif now > deadline:
            self.stopped_waiting = f"not over within {self.limits.scenario:g} s"

    def _clean_up(self):
        """Ends what is left. Returns whether a tool was, although its parent has ended."""
        def alive():
            return [start for start in record.starts(self.world.records) if start.is_alive()]

        # A parent that was killed cannot wait for its tool.
        deadline = time.monotonic() + (self.limits.grace if self.case.kills_parent() else 0)
        while alive() and not self.stopped_waiting and time.monotonic() < deadline:
            time.sleep(POLL)
        left_over = alive()
        for start in left_over:
            kill(start.pid, signal.SIGKILL)
        kill(self.process.pid, signal.SIGKILL, group=True)
        self.process.wait()
        return bool(left_over) and not self.stopped_waiting


def play(case, parent, program, guest, limits, keep=None):
    """Plays the scenario in a folder of its own, below `keep` (absolute) if that is given."""
    start = time.monotonic()
    with tempfile.TemporaryDirectory(prefix="parlen-conformance-") as temporary:
        folder = pathlib.Path(keep, case.name) if keep else pathlib.Path(temporary)
        folder.mkdir(parents=True, exist_ok=True)
        world = World(case, program, guest, folder)
        try:
            found = Play(case, parent, world, limits).run()
        finally:
            world.close()
    left_out = found == [judge.LEFT_OUT]
    return Played(case, [] if left_out else found, time.monotonic() - start, left_out)
