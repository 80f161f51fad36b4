"""One try: its folder, its random choices, the programs that it starts, and what it leaves."""

import json
import os
import pathlib
import random
import shutil
import signal
import subprocess
import tempfile
import time

import processes
import tool as tools
import trees
from rules import Violation

HERE = pathlib.Path(__file__).resolve().parent


# AddressSanitizer says so once when gtk-vnc begins to read a guest's picture in a coroutine.
COROUTINE_NOTE = "ASan doesn't fully support makecontext/swapcontext"


def without_notes(report):
    """What a sanitizer has reported; empty if that is no fault."""
    return "\n".join(line for line in report.splitlines()
                     if line and COROUTINE_NOTE not in line)


class Skip(Exception):
    """The try is not possible on this machine; the text says why."""


class World:
    """The folder of a try holds `in` (where bundles and images go), `out` (the rest of the host, as
    it were: nothing may change there), and `cwd`, `home` and `tmp`, which stay empty."""

    def __init__(self, program, shelf, seed, number):
        self.program = program
        self.shelf = shelf
        self.number = number
        self.rng = random.Random(f"{seed}:{number}")
        self.began = time.monotonic()
        self.story = []
        self.ends = []
        self.tools = []
        self.mounts = []
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix=f"campaign-{number}-"))
        self.folder.chmod(0o755)
        for name in ("in", "out", "cwd", "home", "tmp", "bin", "reports"):
            (self.folder / name).mkdir()
        self.inside = self.folder / "in"
        self.outside = self.folder / "out"
        self.cwd = self.folder / "cwd"
        self.marker = f"{os.getpid()}-{number}-{os.urandom(6).hex()}"
        self.environment = self._environment()
        shelf.put_secrets(self.outside)
        self.outside_before = trees.digest(self.outside)

    def _environment(self):
        reports = f"log_path={self.folder}/reports/report"
        return {
            "PATH": f"{self.folder}/bin:{os.environ.get('PATH', '/usr/bin:/bin')}",
            "HOME": str(self.folder / "home"), "TMPDIR": str(self.folder / "tmp"),
            "LC_ALL": "C.UTF-8", processes.MARKER: self.marker,
            # At its end the program owns everything still. Leaks are looked for elsewhere.
            "ASAN_OPTIONS": f"detect_leaks=0:{reports}", "UBSAN_OPTIONS": reports,
            "TSAN_OPTIONS": f"report_thread_leaks=0:atexit_sleep_ms=0:{reports}",
        }

    # ---- chance ----

    def chance(self, probability):
        return self.rng.random() < probability

    def pick(self, *choices):
        return self.rng.choice(choices)

    def moment(self, max_seconds=0.4):
        """Seconds; each order of magnitude as likely as the others."""
        return min(max_seconds, 0.0005 * 10 ** self.rng.uniform(0, 3.2))

    # ---- the story ----

    def say(self, text):
        self.story.append(f"{(time.monotonic() - self.began) * 1000:9.1f} ms  {text}")

    def violate(self, text):
        raise Violation(text)

    def require(self, condition, text):
        if not condition:
            raise Violation(text)

    def ended(self, words):
        self.ends.append(words)

    # ---- programs ----

    def count_tools(self):
        return len(self.tools) + 1

    def start(self, *arguments, **options):
        started = tools.Tool(self, arguments, **options)
        self.tools.append(started)
        return started

    def complete(self, *arguments, **options):
        """Runs the program to its end, undisturbed."""
        started = self.start(*arguments, **options)
        started.finish()
        return started

    def pump(self, seconds, until=lambda: False):
        return tools.pump(self.tools, seconds, until)

    def use_simulated_host(self, scenario=None):
        self.environment["PARLEN_HOST"] = "simulated"
        if scenario is not None:
            path = self.folder / f"scenario{len(self.story)}.json"
            path.write_text(json.dumps(scenario))
            self.environment["PARLEN_SCENARIO"] = str(path)
            self.say(f"scenario: {json.dumps(scenario)}")
        else:
            self.environment.pop("PARLEN_SCENARIO", None)

    def use_fake_qemu(self, behaviour=None):
        """The host `qemu`, with a stand-in for the emulator that behaves as told."""
        self.environment.pop("PARLEN_HOST", None)
        link = self.folder / "bin" / "qemu-system-x86_64"
        if not link.is_symlink():
            link.symlink_to(HERE / "fake_qemu.py")
        path = self.folder / f"behaviour{len(self.story)}.json"
        report = self.folder / "reports" / "leak"
        path.write_text(json.dumps((behaviour or {}) | {"leaks": str(report)}))
        path.chmod(0o644)
        self.environment["CAMPAIGN_QEMU"] = str(path)
        self.say(f"QEMU: {json.dumps(behaviour or {})}")

    def use_real_qemu(self):
        self.environment.pop("PARLEN_HOST", None)
        (self.folder / "bin" / "qemu-system-x86_64").unlink(missing_ok=True)

    def slow_down_qemu_img(self, milliseconds):
        """Each call of qemu-img takes that much longer."""
        link = self.folder / "bin" / "qemu-img"
        if not link.is_symlink():
            link.symlink_to(HERE / "slow_qemu_img.py")
        self.environment["CAMPAIGN_QEMU_IMG"] = self.shelf.qemu_img
        self.environment["CAMPAIGN_QEMU_IMG_MS"] = str(milliseconds)
        self.say(f"qemu-img: {milliseconds} ms slower")

    def mount_small(self, options):
        """A small file system over `in`."""
        if os.geteuid() != 0:
            raise Skip("mounting needs root")
        done = subprocess.run(["mount", "-t", "tmpfs", "-o", options, "campaign", self.inside],
                              capture_output=True)
        if done.returncode != 0:
            raise Skip("this machine mounts no tmpfs")
        self.mounts.append(self.inside)
        self.say(f"a tmpfs of {options}")

    # ---- the end ----

    def check(self):
        """What must hold when all programs have ended."""
        self._no_orphans()
        reports = sorted((self.folder / "reports").iterdir())
        texts = [without_notes(path.read_text(errors="replace"))[:3000] for path in reports]
        self.require(not any(texts), f"a report: {' '.join(texts)}")
        for name in ("cwd", "home", "tmp"):
            found = sorted(path.name for path in (self.folder / name).iterdir())
            self.require(not found, f"files in {name}: {found}")
        changed = trees.difference(self.outside_before, trees.digest(self.outside))
        self.require(not changed, f"files outside have changed: {changed}")

    def _no_orphans(self):
        # A child that this campaign has stopped does not see that its tool has gone.
        for pid in self._left():
            processes.send(pid, signal.SIGCONT)
        deadline = time.monotonic() + tools.HANG_SECONDS / 2
        while left := self._left():
            processes.reap_adopted(self._own())
            if time.monotonic() > deadline:
                lines = [f"{pid} {processes.command_line(pid)}" for pid in left]
                self.violate(f"orphans: {lines}")
            time.sleep(0.005)
        processes.reap_adopted(self._own())

    def _own(self):
        return {each.pid for each in self.tools if not each.over}

    def _left(self):
        return processes.orphans_of(self.marker, self._own())

    def close(self):
        for each in self.tools:
            each.abandon()
        for pid in self._left():
            processes.send(pid, signal.SIGKILL)
        processes.reap_adopted(self._own())
        for mount in self.mounts:
            if subprocess.run(["umount", mount], capture_output=True).returncode != 0:
                subprocess.run(["umount", "-l", mount], check=False)
        shutil.rmtree(self.folder, ignore_errors=True)
        if self.folder.exists():  # folders without access
            subprocess.run(["chmod", "-R", "u+rwx", self.folder], capture_output=True)
            shutil.rmtree(self.folder, ignore_errors=True)
