"""The parent's side of the guest kit, to copy from: Python 3.9 or newer, standard library only.

    folder = GuestFolder("logs")
    folder.clear()                     # before each start of the guest: run --logs-share logs
    ...
    if up := folder.up():              # None until the guest is up
        print(up["addresses"])
    folder.submit("uname -a")
    ...
    if result := folder.result():      # None until the script has ended
        print(result.status, result.output)

No call waits: ask again from time to time, for example four times a second, and give up when the
tool has ended.
"""

import json
import pathlib
from typing import NamedTuple


class Result(NamedTuple):
    """How a script ended: the exit status of its shell, and what it wrote to both its outputs."""

    status: int
    output: bytes


class GuestFolder:
    """The folder of --logs-share, for one parent at a time."""

    def __init__(self, path):
        self.path = pathlib.Path(path)
        self._under_way = False

    def clear(self):
        """Removes what an earlier run has left. Not while the guest runs."""
        for name in ("up", "run", "done", "up.part", "run.part", "done.part"):
            (self.path / name).unlink(missing_ok=True)
        self._under_way = False

    def up(self):
        """What the guest said of itself when it was up, or None."""
        text = self._read("up")
        return None if text is None else json.loads(text)

    def submit(self, script):
        """Hands a shell script to the guest, which runs it as root. One at a time."""
        if self._under_way:
            raise RuntimeError("the last script's result has not been taken")
        (self.path / "done").unlink(missing_ok=True)
        (self.path / "run.part").write_text(script)
        (self.path / "run.part").rename(self.path / "run")
        self._under_way = True

    def result(self):
        """The result of the submitted script, once it has ended, or None."""
        text = self._read("done") if self._under_way else None
        if text is None:
            return None
        self._under_way = False
        head, _, output = text.partition(b"\n")
        return Result(json.loads(head)["status"], output)

    def _read(self, name):
        try:
            return (self.path / name).read_bytes()
        except FileNotFoundError:
            return None
