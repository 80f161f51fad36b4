"""Whether README.md says what the program does; it runs on the simulated host.

PARLEN_SOURCE: the tree; PARLEN_PROGRAM: the program."""

import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

from sessions import PROGRAM, RUNNING, STOP, TIMEOUT, UNKNOWN, World, sent_by

SOURCE = pathlib.Path(os.environ["PARLEN_SOURCE"])
README = (SOURCE / "README.md").read_text()
PROSE = re.sub(r"^```.*?^```$", "", README, flags=re.S | re.M)
BLOCKS = re.findall(r"^```([a-z]*)\n(.*?)^```$", README, re.S | re.M)


class ReadmeTest(unittest.TestCase):
    def setUp(self):
        self.world = World(self)

    def test_is_short(self):
        self.assertLess(len(README.splitlines()), 220)

    def test_the_parent_has_ten_lines_and_works(self):
        parents = [text for language, text in BLOCKS if language == "python"]
        self.assertEqual(1, len(parents))
        self.assertLessEqual(len(parents[0].splitlines()), 10)
        done = subprocess.run([sys.executable, "-c", parents[0]], cwd=self.world.folder, env=self.world.environment,
                              capture_output=True, text=True, timeout=TIMEOUT)
        said = done.stdout.splitlines()
        self.assertEqual(["ready", "starting", "running", "stopped"],
                         [eval(line).get("state", "ready") for line in said[:-1]], done)
        self.assertEqual("exit status 0", said[-1])
        self.assertEqual("", sent_by(parents[0], [UNKNOWN]))
        self.assertEqual(STOP + "\n", sent_by(parents[0], [UNKNOWN, RUNNING]))

    def test_the_picture_shows_a_session_of_this_program(self):
        with tempfile.TemporaryDirectory() as folder:
            picture = pathlib.Path(folder) / "session.svg"
            subprocess.run([sys.executable, SOURCE / "scripts/session-picture", PROGRAM, picture], check=True)
            self.assertEqual((SOURCE / "docs/session.svg").read_text(), picture.read_text())
        self.assertIn("(docs/session.svg)", README)

    def test_the_synopsis_is_the_manuals(self):
        manual = (SOURCE / "docs/parlen-mac-vm.1").read_text().replace("\\-", "-")
        synopsis = manual.split(".SH SYNOPSIS")[1].split(".SH DESCRIPTION")[0]
        usage = next(text for language, text in BLOCKS if language == "text")
        options = r"(\[?) ?(--[a-z-]+)"
        described = {command[3:].split()[0]: re.findall(options, command)
                     for command in synopsis.split(".SY parlen-mac-vm\n")[1:]}
        shown = {line.split()[1]: re.findall(options, line) for line in usage.splitlines()}
        self.assertEqual(described, shown)

    def test_the_command_lines_are_commands(self):
        section = README.split("A running guest takes these lines", 1)[1].split("\n\n")[1]
        lines = re.findall(r'`(\{"type".*?\})`', section)
        self.assertEqual(6, len(lines))
        self.assertEqual(STOP, lines.pop(0))
        window = lines.pop()
        session = self.world.play("run", "--bundle", "vm1", "--gui", steps=[*lines, STOP])
        self.assertEqual([], [event for event in session.events if event["type"] == "error"])
        self.assertEqual(len(lines), sum(event["type"] in ("guest-power", "input-done") for event in session.events))
        self.assertNotIn("ignoring", session.errors)
        session = self.world.play("run", "--bundle", "vm1", steps=[window + "\n" + STOP])
        self.assertNotIn("ignoring", session.errors)

    def test_every_block_is_one_that_is_tested(self):
        blocks = [(language, text.split()[0]) for language, text in BLOCKS]
        self.assertEqual([("python", "import"), ("sh", "scripts/demo"), ("sh", "cmake"),
                          ("text", "parlen-mac-vm"), ("sh", "echo")], blocks)
        self.assertEqual([], re.findall(r"^    \S.*", PROSE, re.M), "an indented block is not tested")

    def test_the_scripts_and_presets_are_there(self):
        presets = json.loads((SOURCE / "CMakePresets.json").read_text())
        for kind in ("configurePresets", "buildPresets"):
            self.assertIn("release", [preset["name"] for preset in presets[kind]])
        named = {name for name in re.findall(r"`(scripts/[a-z-]+)", README)} | {"scripts/demo"}
        self.assertEqual([], [name for name in named if not os.access(SOURCE / name, os.X_OK)])

    def test_the_made_up_fault_happens(self):
        block = next(text for _, text in BLOCKS if text.startswith("echo"))
        environment = {name: value for name, value in self.world.environment.items() if name != "PARLEN_HOST"}
        with subprocess.Popen(["sh", "-c", block], cwd=self.world.folder, env=environment, stdin=subprocess.PIPE,
                              stdout=subprocess.PIPE, text=True) as tool:
            events = [json.loads(line) for line in tool.stdout]
        self.assertEqual(1, tool.returncode)
        self.assertIn("the disk burnt", events[-2]["message"])
        self.assertTrue(events[-1]["crashed"])


if __name__ == "__main__":
    unittest.main()
