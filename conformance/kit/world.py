"""What a scenario is played in: a folder with a guest, and a tool that is the real one on the simulated host."""

import fcntl
import json
import os
import pathlib
import shlex
import shutil
import subprocess
import sys

SHIM = pathlib.Path(__file__).with_name("shim.py")
IMAGE = {"simulatedRestoreImage": 1, "hardwareModel": "sim-1"}
DISK_BYTES = 4096  # the simulated guest needs 22


def make_guest(program, folder):
    """Makes the bundle that each scenario gets a copy of."""
    image = folder / "image"
    image.write_text(json.dumps(IMAGE))
    guest = folder / "guest"
    environment = {**os.environ, "PARLEN_HOST": "simulated", "PARLEN_SCENARIO": "", "PARLEN_TRACE": ""}
    subprocess.run([program, "create", "--ipsw", image, "--bundle", guest, "--disk-gb", "1"],
                   env=environment, stdout=subprocess.DEVNULL, check=True)
    os.truncate(guest / "Disk.img", DISK_BYTES)
    return guest


class World:
    """The files of one scenario. Its texts may name them: `{bundle}`, `{new}` (nothing is there), `{image}`."""

    def __init__(self, case, program, guest, folder):
        self.folder = folder
        self.records = folder / "records"
        self.records.mkdir()
        self.paths = {name: str(folder / "files" / (name + case.path_suffix)) for name in ("bundle", "new", "image")}
        (folder / "files").mkdir()
        shutil.copytree(guest, self.paths["bundle"])
        pathlib.Path(self.paths["image"]).write_text(json.dumps(IMAGE))
        self._change_settings(case.settings)
        self._lock = os.open(self.paths["bundle"], os.O_RDONLY) if case.in_use else None
        if case.in_use:
            fcntl.flock(self._lock, fcntl.LOCK_EX)
        self._write_tool(program, case)
        self._write_request(case)

    def close(self):
        if self._lock is not None:
            os.close(self._lock)

    def fill_in(self, text):
        for name, path in self.paths.items():
            text = text.replace("{" + name + "}", path)
        return text

    def _change_settings(self, changes):
        path = pathlib.Path(self.paths["bundle"]) / "vm.json"
        path.write_text(json.dumps({**json.loads(path.read_text()), **changes}))

    def _write_tool(self, program, case):
        scenario = self.folder / "scenario.json"
        scenario.write_text(json.dumps(case.scenario))
        settings = self.folder / "settings.json"
        settings.write_text(json.dumps({
            "program": program, "records": str(self.records), "change": case.change,
            "environment": {"PARLEN_HOST": "simulated", "PARLEN_SCENARIO": str(scenario)}}))
        self.tool = self.folder / "parlen-mac-vm"
        command = [sys.executable, "-I", "-S", str(SHIM), str(settings)]
        self.tool.write_text(f"#!/bin/sh\nexec {shlex.join(command)} \"$@\"\n")
        self.tool.chmod(0o755)

    def _write_request(self, case):
        self.request = self.folder / "request.json"
        self.request.write_text(json.dumps({
            "tool": str(self.tool), "arguments": [self.fill_in(word) for word in case.arguments],
            "steps": list(case.steps), "patienceMs": list(case.patience_ms)}))
