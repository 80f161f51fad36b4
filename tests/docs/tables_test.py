"""Whether the tables of docs/protocol.md and the lists of the man page have what the schemas and the program's source
have. PARLEN_SOURCE: the tree; PARLEN_PROGRAM: the program (it is not run)."""

import json
import re
import unittest

from protocol_page import PROTOCOL, SOURCE, grammar_rules, quoted, stable_lines, table
from sessions import REFUSALS

MANUAL = (SOURCE / "docs/parlen-mac-vm.1").read_text().replace("\\-", "-")


def schema(name):
    return json.loads((SOURCE / f"schema/{name}.schema.json").read_text())


def vocabulary():
    return json.loads((SOURCE / "schema/protocol.json.in").read_text())


def words_of(definition):
    """What a line of this kind is recognised by: its type, the names of its members, and their fixed words."""
    words = set(definition["properties"])
    for member in definition["properties"].values():
        fixed = member.get("enum", [member["const"]] if "const" in member else [])
        words |= {word for word in fixed if isinstance(word, str)}
    return words - {"type"}


def manual(heading):
    return MANUAL.split(f".SH {heading}\n")[1].split("\n.SH ")[0]


def manual_lines(heading):
    """The JSON lines that head the paragraphs of a section."""
    heads = re.findall(r"^\.B (\{.*\})$", manual(heading), re.M)
    return [head.replace("\\(dq", '"').replace("\\(rs", "\\") for head in heads]


class TablesTest(unittest.TestCase):
    """Those of docs/protocol.md."""

    def test_the_codes(self):
        codes = [code for row in table("### Codes") for code in quoted(row[0])]
        self.assertEqual(schema("event")["$defs"]["error"]["properties"]["code"]["enum"], codes)

    def test_the_origins_of_the_codes(self):
        origins = {
            "src/app": set(vocabulary()["subcommands"]),
            "src/install": {"create"},
            "src/bundle/directory.cpp": {"create", "clone"},
            "src/bundle/clone.cpp": {"clone"},
            "src/bundle/status.cpp": {"status"},
            "src/bundle/configuration.cpp": {"run"},
            "src/events/error_code.cpp": {"run"},
            "src/runner": {"run"},
            "src/control": {"run"},
            "src/window/window_size_check.cpp": {"window-size-check"},
        }
        words = dict(re.findall(r'(\w+) =\s+"([a-z-]+)"', (SOURCE / "src/events/error_code.h").read_text()))
        found = {}
        for path in (SOURCE / "src").rglob("*.cpp"):
            for name in re.findall(r"errorCode::(\w+)", path.read_text()):
                here = next(subcommands for place, subcommands in origins.items()
                            if str(path.relative_to(SOURCE)).startswith(place))
                found.setdefault(words[name], set()).update(here)
        self.assertEqual(set(words.values()), set(found))
        for row in table("### Codes"):
            subcommands = set(quoted(row[1])) or {"every subcommand": origins["src/app"]}[row[1]]
            for code in quoted(row[0]):
                self.assertEqual(found[code], subcommands, code)

    def test_the_events(self):
        kinds = schema("event")["$defs"]
        described = {frozenset(words_of(kind)) for name, kind in kinds.items() if name not in ("status", "error")}
        rows = [row for row in table("## Events") if quoted(row[0])[0] not in ("status", "error")]
        self.assertEqual(described, {frozenset(quoted(row[0]) + quoted(row[1])) for row in rows})
        self.assertEqual(set(vocabulary()["events"]), {quoted(row[0])[0] for row in table("## Events")})
        error = next(row for row in table("## Events") if row[0] == "`error`")
        self.assertEqual(set(kinds["error"]["properties"]) - {"type"}, set(quoted(error[1])))

    def test_the_grammar_has_the_events_of_each_subcommand(self):
        rules = grammar_rules()
        types = {"status-report": "status", **dict.fromkeys(("starting", "running", "stopped"), "state"),
                 **dict.fromkeys(("bad-usage", "error", "refusal"), "error")}

        def events(rule):
            return {event for word in re.findall(r"[a-z-]+", rules[rule])
                    for event in (events(word) if word in rules else {types.get(word, word)})}

        subcommands = vocabulary()["subcommands"]
        self.assertEqual(set(rules) - {"during"}, set(subcommands))
        for name, listed in subcommands.items():
            self.assertEqual(set(listed), events(name), name)

    def test_the_subcommands(self):
        named = re.findall(r'Subcommand\{"([a-z-]+)",', (SOURCE / "src/app/dispatch.cpp").read_text())
        self.assertEqual(named, list(vocabulary()["subcommands"]))

    def test_the_commands(self):
        rows = {quoted(row[0])[0]: set(quoted(row[0])[1:]) for row in table("## Commands") if quoted(row[0])}
        commands = schema("command")["$defs"]
        self.assertEqual(set(commands), set(rows))
        for name, members in rows.items():
            self.assertEqual(set(commands[name]["properties"]) - {"type"}, members)

    def test_the_members_of_the_report(self):
        members = {name for row in table("### The status report") for name in quoted(row[0])}
        self.assertEqual(set(schema("status")["properties"]) - {"type"}, members)

    def test_the_members_of_the_settings(self):
        settings = PROTOCOL.split("`vm.json` is the parent's", 1)[1].split("```\n", 1)[1]
        rows = table("", "\n\n" + settings)
        self.assertEqual(set(schema("vm")["properties"]), {quoted(row[0])[0] for row in rows})


class ManualTest(unittest.TestCase):
    """The lists of the man page. The hook window-size-check is not in it."""

    def test_has_the_commands(self):
        commands = [json.loads(line) for line in manual_lines("COMMANDS")]
        kinds = schema("command")["$defs"]
        self.assertEqual(list(kinds), [command["type"] for command in commands])
        for command in commands:
            self.assertLessEqual(set(command), set(kinds[command["type"]]["properties"]))
        named = " ".join(manual_lines("COMMANDS")) + manual("COMMANDS")
        self.assertEqual([], [name for kind in kinds.values() for name in kind["properties"] if name not in named])

    def test_has_the_events(self):
        lines = manual_lines("EVENTS")
        types = {re.search(r'"type":"([a-z-]+)"', line).group(1) for line in lines}
        self.assertEqual(set(vocabulary()["events"]) - {"window-size"}, types)
        text = " ".join(lines) + manual("EVENTS")
        kinds = {name: kind for name, kind in schema("event")["$defs"].items()
                 if name not in ("status", "window-size")}
        missing = [word for kind in kinds.values() for word in words_of(kind)
                   if not re.search(rf"(?<![a-z-]){word}(?![a-z-])", text)]
        self.assertEqual([], missing)

    def test_has_the_members_of_the_report(self):
        report = manual("EVENTS").split("The report of\n")[1].split("\n.TP")[0]
        named = set(re.findall(r"^\.(?:B|BR|RB) ([a-z]+(?:[A-Z][a-z]+)*)(?: [.,(]+)?$", report, re.M))
        self.assertEqual(set(schema("status")["properties"]) - {"type"}, named - {"status"})


class CodesOfParentsTest(unittest.TestCase):
    """The codes after which the run goes on are written down in each parent that we give away."""

    def test_are_those_of_the_page(self):
        refusals = {code for row in table("### Codes") if "the run goes on" in row[2] for code in quoted(row[0])}
        self.assertEqual(set(REFUSALS), refusals)
        word = re.compile(r"\b(?:[a-z]+-refused|input-failed)\b")
        for name in ("examples/parent.mjs", "examples/parent.sh", "conformance/kit/judge.py"):
            self.assertEqual(refusals, set(word.findall((SOURCE / name).read_text())), name)
        whole = (SOURCE / "examples/parent.py").read_text()
        listed = re.search(r'event\["code"\] in \((.*?)\)', whole).group(1)
        self.assertEqual(refusals, set(word.findall(listed)))

    def test_of_python_are_those_of_the_schema(self):
        """All of them, and the parent's own behind them."""
        text = (SOURCE / "examples/parent.py").read_text()
        listed = re.findall(r'"([a-z-]+)"', text.split("Code = Literal[")[1].split("]")[0])
        codes = schema("event")["$defs"]["error"]["properties"]["code"]["enum"]
        own = {match for match in re.findall(r'Refused\("([a-z-]+)"', text)}
        self.assertEqual(codes, listed[:len(codes)])
        self.assertEqual(own, set(listed[len(codes):]))

    def test_of_javascript_are_those_of_the_declarations(self):
        text = (SOURCE / "examples/parent.mjs").read_text()
        own = set(re.findall(r'Refused\(\s*"([a-z-]+)"', text))
        self.assertEqual(own, set(re.findall(r'"([a-z]+)"', re.search(r"\{ErrorCode (.*)\} Code", text).group(1))))


# What a warning says that is no sign of anything for a parent. Brackets as in the page.
DIAGNOSTICS = (
    "input: firstResponder=[the view]",
    "input: could not build a flagsChanged event for '[modifier]'",
    "underlying error: [description] ([domain] [code])",
)
# What is handed on as it is: what a library has logged, and why this host cannot run a guest (WHY_NOT_HERE).
HANDED_ON = ("line", "platform.error().description", "model->platform().error().description")
WHY_NOT_HERE = SOURCE / "src/platform/qemu/guest_platform.cpp"
# Its sentence that only events have.
OF_EVENTS = "X is not installed"


def sources():
    return [path for end in ("*.cpp", "*.mm") for path in (SOURCE / "src").rglob(end)]


def arguments_of(function, text):
    """The argument of each call of the function, a regular expression of its name."""
    for call in re.finditer(rf"\b{function}\(", text):
        depth, at, inside = 1, call.end(), False
        while depth:
            character = text[at]
            if character == "\\":
                at += 1
            elif character == '"':
                inside = not inside
            elif not inside:
                depth += {"(": 1, ")": -1}.get(character, 0)
            at += 1
        yield " ".join(text[call.end():at - 1].split())


def as_line(argument):
    """What the call writes; X for what is not fixed. None if nothing of it is."""
    argument = re.sub(r"text::concatenate\(\{(.*)\}\)", r"\1", argument)
    parts = re.split(r'("(?:[^"\\]|\\.)*")', argument)
    fixed = [part[1:-1] if part.startswith('"') else "X" * bool(part.strip()) for part in parts]
    return re.sub("X+", "X", "".join(fixed)) if len(parts) > 1 else None


def patterns(lines):
    """Regular expressions of the lines; [brackets] stand for what is not fixed."""
    return [re.sub(r"\\\[[^]]*\\\]", ".+", re.escape(line)) for line in lines]


class WarningsTest(unittest.TestCase):
    """The lines on standard error."""

    def test_of_the_page_are_in_the_sources(self):
        """Each line's fixed words are there; [brackets] stand for what is not fixed."""
        text = re.sub(r'"\s*"', "", "\n".join(path.read_text() for path in sources()))
        lines = stable_lines()
        self.assertGreater(len(lines), 9)
        for line in lines:
            missing = [words for words in re.split(r"\[[^]]*\]", line) if words not in text]
            self.assertEqual([], missing, line)

    def test_of_the_sources_are_on_the_page_or_diagnostics(self):
        known = patterns((*stable_lines(), *DIAGNOSTICS))
        declarations = re.compile(r"warn|std::move\(\w+\)|.*\b(std::string_view|WarningSink)\b.*")
        calls = [(path.name, argument) for path in sources() for argument in arguments_of("warn_?", path.read_text())
                 if not declarations.fullmatch(argument)]
        self.assertGreater(len(calls), 15)
        for name, argument in calls:
            line = as_line(argument)
            if line is None:
                self.assertIn(argument, HANDED_ON, name)
            else:
                self.assertTrue(any(re.fullmatch(pattern, line) for pattern in known), (name, line))

    def test_of_why_a_guest_cannot_run_are_on_the_page(self):
        known = patterns(stable_lines())
        lines = [as_line(argument) for argument in arguments_of("error", WHY_NOT_HERE.read_text())]
        lines = [line for line in lines if line is not None]
        self.assertIn(OF_EVENTS, lines)
        self.assertGreater(len(lines), 4)
        for line in set(lines) - {OF_EVENTS}:
            self.assertTrue(any(re.fullmatch(pattern, line) for pattern in known), line)


if __name__ == "__main__":
    unittest.main()
