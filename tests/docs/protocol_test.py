"""Whether docs/protocol.md says what the program does: its examples, its grammar, its ends. The program
runs on the simulated host.

PARLEN_SOURCE: the tree; PARLEN_PROGRAM: the program."""

import json
import os
import re
import signal
import subprocess
import sys
import unittest

from protocol_page import PROSE, PROTOCOL, blocks, grammar, quoted, shape, stable_lines, table, terminal
from sessions import RUNNING, STOP, TIMEOUT, UNKNOWN, World, all_sessions, sent_by


class SessionsTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.world = World(cls.__new__(cls))
        cls.sessions = all_sessions(cls.world)

    @classmethod
    def addCleanup(cls, *arguments):
        cls.addClassCleanup(*arguments)

    def test_follow_the_grammar(self):
        rules = grammar()
        self.assertEqual({"status", "clone", "create", "run", "during", "window-size-check"}, set(rules))
        for _, session in self.sessions:
            names = [terminal(event) for event in session.events]
            killed = session.status < 0
            text = "".join(f"{name} " for name in names)
            rule = rules.get(session.subcommand, rules["run"])
            self.assertTrue(killed or rule.fullmatch(text), (session.subcommand, names))

    def test_grammar_refuses_other_orders(self):
        run = grammar()["run"]
        self.assertTrue(run.fullmatch("ready starting running refusal guest-power stopped "))
        for wrong in ("starting stopped ", "ready starting running ", "ready stopped error ",
                      "ready running stopped ", "ready starting created stopped "):
            self.assertIsNone(run.fullmatch(wrong), wrong)

    def test_end_as_the_table_says(self):
        rows = {(name, row[1]): row[2:4] for row in table("## Ends") for name in quoted(row[0]) or ["any"]}
        unused = set(rows)
        for beginning, session in self.sessions:
            names = ("any",) if "bad-usage" in beginning else (session.subcommand,)
            found = [key for key in rows if key[0] in names and key[1].startswith(beginning)]
            if beginning == "`error`":
                found = [key for key in found if key[1] == "`error`"]
            self.assertEqual(1, len(found), (beginning, session))
            stopped, status = rows[found[0]]
            unused.discard(found[0])
            last = terminal(session.events[-1]) if session.events else None
            self.assertEqual(stopped.strip("*") == "yes", last == "stopped", session)
            if status in ("0", "1"):
                self.assertEqual(int(status), session.status, session)
            elif "SIGABRT" in status:
                self.assertEqual(-signal.SIGABRT, session.status, session)
            else:
                self.assertLess(session.status, 0, session)
        # Copying so little is too fast to be interrupted, and here is no Wayland compositor.
        unplayed = [("clone", "nothing more: any signal"), ("run", "nothing more: on Linux, the Wayland")]
        if sys.platform != "linux":
            unplayed.append(("run", "nothing more: SIGTERM, SIGINT before"))
        self.assertEqual([], [(name, end) for name, end in unused
                              if not any(name == of and end.startswith(first) for of, first in unplayed)])
        self.assertEqual(len(unplayed), len(unused))

    def test_lines_on_standard_error_are_as_written(self):
        """Those that the simulated host can bring about."""
        said = {line.removeprefix("parlen-mac-vm: ") for _, session in self.sessions
                for line in session.errors.splitlines()}
        patterns = {line: re.sub(r"\\\[[^]]*\\\]", ".+", re.escape(line)) for line in stable_lines()}
        found = {line for line, pattern in patterns.items() if any(re.fullmatch(pattern, text) for text in said)}
        self.assertEqual(["the guest is paused: [writing] its disk failed ([why]); resuming tries again",
                          "network attachment disconnected ([why])",
                          "ignoring window: this run has no headless guest to show",
                          "[member] is a link out of the bundle: the copy shares [what]",
                          "requestStop failed ([why]); stopping hard",
                          "ignoring a malformed command line",
                          "ignoring an unknown command '[type]'"],
                         [line for line in patterns if line in found], said)
        section = PROTOCOL.split("## Lines on standard error\n", 1)[1].split("\n## ", 1)[0]
        examples = re.findall(r"^    (\S.*)", section, re.M)
        self.assertEqual(1, len(examples))
        self.assertLessEqual({line.removeprefix("parlen-mac-vm: ") for line in examples}, said)

    def test_examples_are_what_the_program_prints(self):
        printed = {shape(line) for _, session in self.sessions for line in session.lines}
        lines = [line for block in blocks(PROTOCOL, "jsonl") for line in block.splitlines()]
        events = [line for line in lines if "type" in json.loads(line)
                  and json.loads(line)["type"] not in ("stop", "text", "key", "window")]
        self.assertGreater(len(events), 10)
        for line in events:
            self.assertIn(shape(line), printed)

    def test_example_settings_are_as_created(self):
        example = blocks(PROTOCOL, "json")[0]
        created = (self.world.folder / "vm1/vm.json").read_text()
        self.assertEqual(shape(example).strip(), shape(created).strip())


class RecipesTest(unittest.TestCase):
    """The document's commands, run."""

    def setUp(self):
        self.world = World(self)

    def shell(self, script, **more):
        return subprocess.run(["bash", "-c", script], cwd=self.world.folder, env=self.world.environment,
                              capture_output=True, text=True, timeout=TIMEOUT, **more)

    def test_the_parent(self):
        parents = blocks(PROTOCOL, "python")
        self.assertEqual(1, len(parents))
        done = subprocess.run(["python3", "-c", parents[0]], cwd=self.world.folder, env=self.world.environment,
                              capture_output=True, text=True, timeout=TIMEOUT)
        said = done.stdout.splitlines()
        self.assertEqual("exit status 0", said[-1], done)
        states = [eval(line).get("state", "ready") for line in said[:-1]]
        self.assertEqual(["ready", "starting", "running", "stopped"], states)
        self.assertEqual("", sent_by(parents[0], [UNKNOWN]))
        self.assertEqual(STOP + "\n", sent_by(parents[0], [UNKNOWN, RUNNING]))

    def test_the_commands(self):
        lines = [line for block in blocks(PROTOCOL, "jsonl") for line in block.splitlines()
                 if json.loads(line)["type"] in ("stop", "text", "key", "window")]
        windows = [line for line in lines if '"window"' in line]
        inputs = [line for line in lines if line not in (STOP, *windows)]
        self.assertEqual((STOP, 2, 2), (lines[0], len(inputs), len(windows)))
        session = self.world.play("run", "--bundle", "vm1", "--gui", steps=[*inputs, STOP])
        self.assertEqual([json.loads(line)["type"] for line in inputs],
                         [event["input"] for event in session.events if event["type"] == "input-done"])
        self.assertEqual(0, session.status)
        silent = self.world.play("run", "--bundle", "vm1", steps=["\n".join([*windows, STOP])])
        for played in (session, silent):
            self.assertEqual([], [event for event in played.events if event["type"] == "error"])
            self.assertNotIn("ignoring", played.errors)
            self.assertNotIn("cannot show", played.errors)

    def test_a_last_line_that_cannot_be_written(self):
        """As the list below the table of ends says."""
        if not os.path.exists("/dev/full"):
            self.skipTest("there is no /dev/full")
        sentence = "The status of `create`, `clone`, `status` and `window-size-check` is also 1 if"
        self.assertEqual(1, PROTOCOL.count(sentence))
        commands = {"create": "--ipsw image --bundle new --disk-gb 1", "clone": "--from vm1 --to copy",
                    "status": "--bundle vm1", "window-size-check": "--visible 0,0,1512,949", "run": "--bundle vm1"}
        for name, options in commands.items():
            with self.subTest(name):
                done = self.shell(f"parlen-mac-vm {name} {options} >/dev/full </dev/null")
                self.assertEqual(0 if name == "run" else 1, done.returncode, done)

    def test_ways_to_end_with_the_parent(self):
        lines = "".join(blocks(PROTOCOL, "sh")).splitlines()
        self.assertEqual(["setpriv", "systemd-run"], [line.split()[0] for line in lines])
        # There may be no systemd here: what stands for it checks that it is given a program.
        systemd = self.world.folder / "bin/systemd-run"
        systemd.write_text('#!/bin/sh\n[ "$1 $2" = "--user --scope" ] || exit 2\nshift 2\nexec "$@"\n')
        systemd.chmod(0o755)
        for line in lines:
            done = self.shell(line, stdin=subprocess.DEVNULL)
            self.assertEqual(0, done.returncode, done)
            self.assertIn('"state":"stopped"', done.stdout)

    def test_setpriv_ends_the_guest_with_its_parent(self):
        line = next(line for line in blocks(PROTOCOL, "sh")[0].splitlines() if line.startswith("setpriv"))
        # The tool's parent is a shell, and its input stays open: the signal alone ends it.
        with subprocess.Popen(["bash", "-c", line.split("#")[0] + "; true"], cwd=self.world.folder,
                              env=self.world.environment, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                              text=True) as parent:
            for event in parent.stdout:
                if '"running"' in event:
                    parent.kill()
        self.assertIn("host requested stop", event)

    def test_the_lock_tells_whether_a_guest_is_in_use(self):
        command = next(text for text in quoted(PROSE) if text.startswith("flock "))
        self.assertEqual(0, self.shell(command).returncode)
        tool = self.world.start("run", "--bundle", "vm1")
        self.addCleanup(tool.stderr.close)
        while '"running"' not in tool.stdout.readline():
            pass
        self.assertNotEqual(0, self.shell(command).returncode)
        tool.communicate(timeout=TIMEOUT)
        self.assertEqual(0, self.shell(command).returncode)

    def test_a_disk_grows(self):
        command = next(text for text in quoted(PROSE) if text.startswith("truncate "))
        self.assertEqual(0, self.shell(command).returncode)
        self.assertEqual(120 << 30, self.world.play("status", "--bundle", "vm1").events[0]["diskBytes"])
        self.assertEqual(0, self.world.play("run", "--bundle", "vm1", steps=['{"type":"stop"}']).status)


if __name__ == "__main__":
    unittest.main()
