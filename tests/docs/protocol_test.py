"""Whether docs/protocol.md says what the program does: its examples, its grammar, its tables. The program
runs on the simulated host.

PARLEN_SOURCE: the tree; PARLEN_PROGRAM: the program."""

import json
import os
import pathlib
import re
import signal
import subprocess
import unittest

from sessions import REFUSALS, TIMEOUT, World, all_sessions

SOURCE = pathlib.Path(os.environ["PARLEN_SOURCE"])
PROTOCOL = (SOURCE / "docs/protocol.md").read_text()
PROSE = re.sub(r"^```.*?^```$", "", PROTOCOL, flags=re.S | re.M)


def blocks(text, language):
    return re.findall(rf"^```{language}\n(.*?)^```$", text, re.S | re.M)


def table(heading, text=PROTOCOL):
    """The rows of the first table after a heading, as lists of cells."""
    lines = text.split(f"\n{heading}\n", 1)[1].split("\n")
    first = next(n for n, line in enumerate(lines) if line.startswith("|"))
    rows = []
    for line in lines[first + 2:]:
        if not line.startswith("|"):
            return rows
        rows.append([cell.strip() for cell in line.strip("|").split(" | ")])
    return rows


def quoted(cell):
    return re.findall(r"`([^`]+)`", cell)


def shape(line):
    """A line without what differs from run to run: numbers, addresses, paths, the parts of a sentence."""
    line = re.sub(r'("(?:bundle|from|to)":)"[^"]*"', r'\1"PATH"', line)
    line = re.sub(r"([0-9a-f]{2}:){5}[0-9a-f]{2}", "ADDRESS", line)
    return re.sub(r"[0-9]+", "N", line)


def terminal(event):
    """The name of an event in the grammar."""
    if event["type"] == "state":
        return event["state"]
    if event["type"] == "error":
        return {"bad-usage": "bad-usage", **dict.fromkeys(REFUSALS, "refusal")}.get(event["code"], "error")
    return {"status": "status-report"}.get(event["type"], event["type"])


def grammar():
    """The document's EBNF as one regular expression for each rule, over names that a space ends."""
    rules = dict(re.findall(r"^([a-z]+)\s*= (.*?) ;$", blocks(PROTOCOL, "ebnf")[0], re.M))

    def expression(text):
        parts = re.findall(r"[a-z-]+|[][(){}|,]", text)
        signs = {"{": "(?:", "}": ")*", "[": "(?:", "]": ")?", "(": "(?:", ")": ")", "|": "|", ",": ""}
        return "(?:" + "".join(signs.get(part) or ("" if part == "," else word(part)) for part in parts) + ")"

    def word(name):
        return expression(rules[name]) if name in rules else f"(?:{name} )"

    return {name: re.compile(expression(text)) for name, text in rules.items()}


def stable_lines():
    return [line for row in table("## Lines on standard error") for line in quoted(row[0])]


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
        self.assertEqual({"status", "clone", "create", "run", "during"}, set(rules))
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
            last = terminal(session.events[-1])
            self.assertEqual(stopped.strip("*") == "yes", last == "stopped", session)
            if status in ("0", "1"):
                self.assertEqual(int(status), session.status, session)
            elif "SIGABRT" in status:
                self.assertEqual(-signal.SIGABRT, session.status, session)
            else:
                self.assertLess(session.status, 0, session)
        # Copying so little is too fast to be interrupted.
        self.assertEqual({"clone"}, {name for name, _ in unused}, unused)

    def test_lines_on_standard_error_are_as_written(self):
        """Those that the simulated host can bring about."""
        said = {line.removeprefix("parlen-mac-vm: ") for _, session in self.sessions
                for line in session.errors.splitlines()}
        patterns = {line: re.sub(r"\\\[[^]]*\\\]", ".+", re.escape(line)) for line in stable_lines()}
        found = {line for line, pattern in patterns.items() if any(re.fullmatch(pattern, text) for text in said)}
        self.assertEqual(["network attachment disconnected ([why])",
                          "ignoring window: this run has no headless guest to show",
                          "[member] is a link out of the bundle: the copy shares [what]",
                          "requestStop failed ([why]); stopping hard",
                          "ignoring a malformed command line",
                          "ignoring an unknown command '[type]'"],
                         [line for line in patterns if line in found], said)

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


class TablesTest(unittest.TestCase):
    """The tables have what the schemas and the program's source have."""

    def schema(self, name):
        return json.loads((SOURCE / f"schema/{name}.schema.json").read_text())

    def test_the_codes(self):
        codes = [code for row in table("### Codes") for code in quoted(row[0])]
        self.assertEqual(self.schema("event")["$defs"]["error"]["properties"]["code"]["enum"], codes)

    def test_the_commands(self):
        rows = {quoted(row[0])[0]: set(quoted(row[0])[1:]) for row in table("## Commands") if quoted(row[0])}
        commands = self.schema("command")["$defs"]
        self.assertEqual(set(commands), set(rows))
        for name, members in rows.items():
            self.assertEqual(set(commands[name]["properties"]) - {"type"}, members)

    def test_the_members_of_the_report(self):
        members = {name for row in table("### The status report") for name in quoted(row[0])}
        properties = self.schema("status")["properties"]
        self.assertEqual(set(properties) - {"type"}, members)

    def test_the_members_of_the_settings(self):
        settings = PROTOCOL.split("`vm.json` is the parent's", 1)[1].split("```\n", 1)[1]
        rows = table("", "\n\n" + settings)
        self.assertEqual(set(self.schema("vm")["properties"]), {quoted(row[0])[0] for row in rows})

    def test_the_lines_on_standard_error(self):
        """Each line's fixed words are in the sources; [brackets] stand for what is not fixed."""
        files = [path for end in ("*.cpp", "*.mm") for path in (SOURCE / "src").rglob(end)]
        sources = re.sub(r'"\s*"', "", "\n".join(path.read_text() for path in files))
        lines = stable_lines()
        self.assertGreater(len(lines), 9)
        for line in lines:
            missing = [words for words in re.split(r"\[[^]]*\]", line) if words not in sources]
            self.assertEqual([], missing, line)


if __name__ == "__main__":
    unittest.main()
