"""The conformance kit: the parents of examples/ pass it, and each fault of a bad parent is caught by a scenario.

PARLEN_SOURCE: the tree; PARLEN_PROGRAM: the program; PARLEN_CMAKE: the cmake program; PARLEN_BUILD: the build
folder."""

import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

SOURCE = pathlib.Path(os.environ["PARLEN_SOURCE"])
KIT = SOURCE / "conformance"
BAD_PARENT = pathlib.Path(__file__).with_name("bad_parent.py")
sys.path[:0] = [str(KIT), str(SOURCE / "tests/support")]

from kit.command_line import listing, play_all  # noqa: E402
from kit.play import Limits  # noqa: E402
from kit.shim import CHANGES  # noqa: E402
from scenarios import SCENARIOS  # noqa: E402
from seen_lines import keep, keep_file  # noqa: E402

PROGRAM = os.environ["PARLEN_PROGRAM"]
CASES = {case.name: case for case in SCENARIOS}


def keep_seen(folder):
    """What the parents have sent and the tool has said, before the kit changed it, and what was played."""
    kinds = {"tool": "event", "parent": "command"}
    seen = {(entry["from"], entry["line"]) for path in folder.glob("*/records/start-*/lines")
            for entry in map(json.loads, path.read_text(encoding="utf-8").splitlines())}
    for sender, kind in kinds.items():
        keep(kind, sorted(line for of, line in seen if of == sender))
    for path in folder.glob("*/scenario.json"):
        keep_file("scenario", path)
    for path in folder.glob("*/files/bundle*/vm.json"):
        keep_file("vm", path)
    return seen


class ReferenceParents:
    command = ()
    needed = ()

    def test_passes_all_scenarios(self):
        for program in self.needed:
            if shutil.which(program) is None:
                self.skipTest(f"there is no {program}")
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        done = subprocess.run([sys.executable, "-B", KIT / "run", "--program", PROGRAM, "-j6", "--limit", "120",
                               "--grace", "30", "--keep", folder.name, "--", *self.command],
                              text=True, capture_output=True, timeout=300, check=False)
        self.assertEqual({"tool", "parent"}, {sender for sender, _ in keep_seen(pathlib.Path(folder.name))})
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        self.assertIn(f"{len(SCENARIOS)} passed, 0 failed, 0 not supported", done.stdout)


class PythonParentTest(ReferenceParents, unittest.TestCase):
    command = (sys.executable, "-B", str(KIT / "parents/reference.py"))


class NodeParentTest(ReferenceParents, unittest.TestCase):
    command = ("node", str(KIT / "parents/reference.mjs"))
    needed = ("node",)


class ShellParentTest(ReferenceParents, unittest.TestCase):
    command = (str(KIT / "parents/reference.sh"),)
    needed = ("jq",)


HANGS = "not over within"
LATE = "the tool has ended, but not the parent"
# A fault, the scenario that is there for it, and what the driver says.
FAULTS = {
    "waits-for-stopped": ("bundle-missing", LATE),
    "waits-for-running": ("crash-at-start", LATE),
    "waits-for-lost-answers": ("input-cut-off", LATE),
    "sends-all-at-once": ("refusal-overtakes", "text was sent before the answer to text"),
    "sends-before-running": ("late-running", "text was sent before the guest ran"),
    "takes-refusals-for-failures": ("pause-fails", HANGS),
    "does-not-read-errors": ("stderr-flood", "noticed is \\[\\]|" + LATE),
    "does-not-read-output": ("output-flood", HANGS),
    "refuses-unknown-events": ("unknown-events", "outcome is \"(switched-off|failed|killed)\""),
    "refuses-unknown-members": ("unknown-members", HANGS + "|" + LATE),
    "takes-any-code-for-a-failure": ("unknown-code", 'outcome is "failed" and should be "shut-down"'),
    "ignores-the-protocol": ("later-protocol", HANGS),
    "takes-chunks-for-lines": ("lines-in-pieces", HANGS + "|" + LATE),
    "trusts-the-exit-status": ("fails-while-stopping", 'outcome is "shut-down" and should be "failed"'),
    "takes-any-end-for-orderly": ("stop-while-paused", 'outcome is "shut-down" and should be "switched-off"'),
    "knows-one-code": ("limit-reached", 'code is "boot-failed" and should be "vm-limit"'),
    "is-impatient": ("slow-stop", "machine.stop was called"),
    "never-switches-off": ("ignores-stop", HANGS),
    "never-kills": ("cannot-be-stopped", HANGS),
    "stops-only-a-running-guest": ("stop-while-starting", HANGS),
    "does-not-wait": ("ignores-stop", "the parent has ended, but not its tool"),
    "has-no-input": ("stops-by-itself", "machine.(requestStop|stop) was called"),
    "shares-its-session": ("ctrl-c", "machine.stop was called"),
    "leaks-the-input": ("parent-killed", "machine.requestStop was not called"),
    "mangles-texts": ("odd-texts", "the title is not the text that was asked for"),
    "cuts-long-texts": ("long-text", HANGS),
    "forgets-to-hide": ("window-done", "window.orderOut was not called"),
    "takes-progress-for-success": ("create-fails", 'outcome is "done" and should be "failed"'),
    "does-not-quote": ("clone", "outcome is|the parent has not started the tool"),
}


class BadParentTest(unittest.TestCase):
    def play(self, plays):
        """(fault or none, scenario) each; returns the sentences of each."""
        def parent(fault):
            return [sys.executable, "-S", "-E", "-B", str(BAD_PARENT), *([fault] if fault else [])]

        plays = [(CASES[name], parent(fault), self.limits(fault), None) for fault, name in plays]
        return [played.faults for played in play_all(plays, PROGRAM, 8)]

    def play_shell(self, script):
        play = (CASES["status"], ["sh", "-c", script], Limits(), None)
        return next(play_all([play], PROGRAM, 1))

    def test_may_leave_out_what_it_does_not_support(self):
        played = self.play_shell("""echo '{"outcome":"unsupported"}'""")
        self.assertEqual((played.left_out, played.faults), (True, []))

    def test_is_at_fault_without_a_verdict(self):
        for script in ("true", "echo done", "echo 1", """echo '{"outcome":"fine"}'"""):
            with self.subTest(script):
                played = self.play_shell(script)
                self.assertEqual(played.faults, ["the parent's last line is no verdict",
                                                 "the parent has not started the tool"])

    def limits(self, fault):
        if fault is None:
            return Limits(120, 30)
        return Limits(5 if FAULTS[fault][1].startswith(HANGS) else 120, 1)

    def test_is_caught_by_a_scenario_for_each_fault(self):
        found = self.play([(fault, name) for fault, (name, _) in FAULTS.items()])
        for (fault, (name, sentence)), faults in zip(FAULTS.items(), found):
            with self.subTest(fault, scenario=name):
                self.assertTrue(any(re.search(sentence, fault) for fault in faults), faults)

    def test_passes_the_same_scenarios_without_its_faults(self):
        names = sorted({name for name, _ in FAULTS.values()})
        for name, faults in zip(names, self.play([(None, name) for name in names])):
            with self.subTest(scenario=name):
                self.assertEqual(faults, [])


class KeepTest(unittest.TestCase):
    """What --keep does with its folder, as it is typed in a terminal."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def run_kit(self, keep):
        return subprocess.run([sys.executable, "-B", KIT / "run", "--program", PROGRAM, "--keep", keep,
                               "--only", "status", "--", *PythonParentTest.command],
                              cwd=self.folder, text=True, capture_output=True, timeout=120, check=False)

    def test_takes_a_relative_folder(self):
        (self.folder / "there").mkdir()
        for keep in ("new/kept", "there"):
            done = self.run_kit(keep)
            self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
            self.assertTrue((self.folder / keep / "status/parent.out").exists())

    def test_refuses_a_folder_that_cannot_be_used(self):
        (self.folder / "used/status").mkdir(parents=True)
        (self.folder / "file").write_text("")
        for keep in ("used", "file"):
            done = self.run_kit(keep)
            self.assertEqual((1, ""), (done.returncode, done.stdout))
            self.assertRegex(done.stderr, f"^run: [^\n]*{keep}[^\n]*\n$")


class InstalledTest(unittest.TestCase):
    def test_runs_where_it_is_installed(self):
        with tempfile.TemporaryDirectory() as prefix:
            for part in ("conformance", "docs"):
                subprocess.run([os.environ["PARLEN_CMAKE"], "--install", f"{os.environ['PARLEN_BUILD']}/{part}",
                                "--prefix", prefix], check=True, stdout=subprocess.DEVNULL)
            kit = pathlib.Path(prefix, "share/parlen-mac-vm/conformance")
            self.assertTrue((kit / "README.md").exists())
            parents = [[sys.executable, "-B", kit / "parents/reference.py"]]
            parents += [[kit / "parents/reference.sh"]] * (shutil.which("jq") is not None)
            parents += [["node", kit / "parents/reference.mjs"]] * (shutil.which("node") is not None)
            for parent in parents:
                done = subprocess.run([kit / "run", "--program", PROGRAM, "--only", "orderly-stop", "--", *parent],
                                      text=True, capture_output=True, timeout=120, check=False)
                self.assertEqual(done.returncode, 0, done.stdout + done.stderr)


class ScenariosTest(unittest.TestCase):
    def test_are_listed_in_the_readme(self):
        self.assertEqual(len(CASES), len(SCENARIOS), "two have the same name")
        self.assertIn(listing() + "\n", (KIT / "README.md").read_text(encoding="utf-8"))

    def test_use_every_change_to_the_events(self):
        used = {case.change for case in SCENARIOS} - {None}
        self.assertEqual(used, set(CHANGES) | {"in-pieces"})


if __name__ == "__main__":
    unittest.main()
