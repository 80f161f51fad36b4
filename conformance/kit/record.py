"""What a scenario's tools have done: read from the shim's records and the simulated host's traces."""

import json
import os
import pathlib
import subprocess


def _objects(path):
    """The whole lines of a file that may still be written."""
    try:
        text = path.read_text()
    except FileNotFoundError:
        return []
    return [json.loads(line) for line in text[:text.rfind("\n") + 1].split("\n") if line]


def _object(text):
    try:
        value = json.loads(text)
    except ValueError:
        return {}
    return value if isinstance(value, dict) else {}


class Start:
    """One start of the tool."""

    def __init__(self, folder):
        self.folder = folder
        start = json.loads((folder / "start").read_text())
        self.pid, self.arguments = start["pid"], start["arguments"]

    @property
    def lines(self):
        """(sender, line, the line as an object) in the order in which they passed."""
        return [(entry["from"], entry["line"], _object(entry["line"])) for entry in _objects(self.folder / "lines")]

    @property
    def trace(self):
        return _objects(self.folder / "trace")

    def is_alive(self):
        try:
            os.kill(self.pid, 0)
        except ProcessLookupError:
            return False
        return not _is_zombie(self.pid)

    def has_said(self, state):
        return any(sender == "tool" and event.get("type") == "state" and event.get("state") == state
                   for sender, _, event in self.lines)


def _is_zombie(pid):
    """A process that has ended, and whose end nobody has asked for yet."""
    if pathlib.Path("/proc/self/stat").exists():
        try:
            return pathlib.Path(f"/proc/{pid}/stat").read_text().rpartition(")")[2].split()[0] == "Z"
        except (FileNotFoundError, ProcessLookupError):
            return True
    shown = subprocess.run(["ps", "-o", "state=", "-p", str(pid)], capture_output=True, text=True, check=False)
    return shown.stdout.strip()[:1] in ("Z", "")


def starts(records):
    """Those that have come to their records, the first one first."""
    folders = sorted(records.glob("start-*/start"), key=lambda path: int(path.parent.name[6:]))
    return [Start(path.parent) for path in folders]
