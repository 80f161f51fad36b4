"""The schemas: they describe what the program writes, and no more. PARLEN_SOURCE: the tree;
PARLEN_PROTOCOL: the protocol.json of this build; PARLEN_LINES: the folder in which the program's
tests keep what they have seen (for SeenTest)."""

import json
import os
import pathlib
import re
import subprocess
import unittest

import jsonschema

import mutations
from schemas import NAMES, SOURCE, is_valid, load, validator


def examples(document):
    """The lines of the document's blocks that are marked as JSON lines."""
    text = (SOURCE / document).read_text()
    return [line for block in re.findall(r"```jsonl\n(.*?)```", text, re.S) for line in block.splitlines()]


class SchemasTest(unittest.TestCase):
    def test_are_schemas(self):
        self.assertGreaterEqual(len(NAMES), 6)
        for name in NAMES:
            jsonschema.Draft202012Validator.check_schema(load(name))

    def test_hold_for_the_examples_of_the_protocol(self):
        lines = examples("docs/protocol.md")
        self.assertGreater(len(lines), 15)
        for line in lines:
            self.assertTrue(is_valid("event", line) or is_valid("command", line), line)

    def test_refuse_mutated_lines(self):
        self.assertGreaterEqual(len(mutations.LINES), 50)
        for name, original, mutated in mutations.LINES:
            self.assertTrue(is_valid(name, original), original)
            self.assertFalse(is_valid(name, mutated), mutated)


class TypesTest(unittest.TestCase):
    def test_are_those_of_the_schemas(self):
        made = subprocess.run([SOURCE / "scripts/generate-types", "--print"], check=True, capture_output=True, text=True)
        self.assertIn("export type Event =", made.stdout)
        self.assertEqual((SOURCE / "examples/protocol.d.ts").read_text(), made.stdout, "run scripts/generate-types")


class ProtocolTest(unittest.TestCase):
    """What names the same words in several places names the same ones."""

    def setUp(self):
        self.protocol = json.loads(pathlib.Path(os.environ["PARLEN_PROTOCOL"]).read_text())

    def test_has_the_codes_of_the_program(self):
        header = (SOURCE / "src/events/error_code.h").read_text()
        self.assertEqual(sorted(self.protocol["codes"]), sorted(re.findall(r'=\s+"([a-z-]+)"', header)))

    def test_has_the_codes_of_the_schema(self):
        code = load("event")["$defs"]["error"]["properties"]["code"]
        self.assertEqual(self.protocol["codes"], code["enum"])

    def test_has_the_codes_of_the_manual(self):
        manual = (SOURCE / "docs/parlen-mac-vm.1").read_text()
        table = manual.split(".SS Error codes")[1].split(".TE")[0]
        self.assertEqual(self.protocol["codes"], re.findall(r"^([a-z-]+)\tT\{", table, re.M))

    def test_has_the_commands_of_the_program(self):
        table = (SOURCE / "src/control/commands.cpp").read_text().split("constexpr std::array verbs")[1].split("};")[0]
        self.assertEqual(sorted(self.protocol["commands"]), sorted(re.findall(r'Verb\{"([a-z]+)",', table)))

    def test_has_the_types_of_the_schemas(self):
        def types(name):
            return {d["properties"]["type"]["const"] for d in load(name)["$defs"].values() if "properties" in d}

        self.assertEqual(set(self.protocol["events"]), types("event") | {"status"})
        self.assertEqual(set(self.protocol["commands"]), types("command"))
        for events in self.protocol["subcommands"].values():
            self.assertLessEqual(set(events), set(self.protocol["events"]))

    def test_has_the_number_of_the_ready_event(self):
        ready = load("event")["$defs"]["ready"]["properties"]["proto"]["const"]
        self.assertEqual(self.protocol["proto"], ready)


# What the tests send or play in order to be refused, whatever its delay.
REFUSED = {
    "command": ({"type": "key"}, {"type": "text", "text": ""}, {"type": "text", "text": "\u00e9"},
                {"type": "key", "key": "cmd+Bad"}),
    "scenario": ({"machine": {"startMS": 1}}, {"machine": {"startMs": "soon"}}),  # both are bad-usage
}


def is_refused(kind, line):
    try:
        value = json.loads(line)
    except ValueError:
        return False
    return isinstance(value, dict) and {**value, "delayMs": 0} in [
        {**refused, "delayMs": 0} for refused in REFUSED.get(kind, ())]


def is_meant(line):
    """Whether a line was sent as a command: some tests send nonsense, or a line of megabytes."""
    try:
        return len(line) < 65536 and json.loads(line).get("type") in load("command")["$defs"]
    except (ValueError, AttributeError):
        return False


class SeenTest(unittest.TestCase):
    """Runs after the tests that run the program: every line and file that they have seen or sent is valid."""

    def test_every_line_is_valid(self):
        seen = {}
        for path in pathlib.Path(os.environ["PARLEN_LINES"]).glob("*-*.jsonl"):
            kind = path.name.split("-")[0]
            seen.setdefault(kind, set()).update(path.read_text(encoding="utf-8").split("\n"))
            path.unlink()
        if not seen:
            self.skipTest("no test has run that keeps what it sees")
        for kind, lines in sorted(seen.items()):
            lines = [line for line in sorted(lines) if line and (kind != "command" or is_meant(line))]
            wrong = [line for line in lines if not is_valid(kind, line) and not is_refused(kind, line)]
            print(f"{kind}: {len(lines)} different lines")
            self.assertGreater(len(lines), 0)
            self.assertEqual(wrong, [])


if __name__ == "__main__":
    unittest.main()
