"""docs/protocol.md, taken apart. PARLEN_SOURCE: the tree."""

import os
import pathlib
import re

from sessions import REFUSALS

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


def grammar_rules():
    return dict(re.findall(r"^([a-z-]+)\s*= (.*?) ;$", blocks(PROTOCOL, "ebnf")[0], re.M))


def grammar():
    """The document's EBNF as one regular expression for each rule, over names that a space ends."""
    rules = grammar_rules()

    def expression(text):
        parts = re.findall(r"[a-z-]+|[][(){}|,]", text)
        signs = {"{": "(?:", "}": ")*", "[": "(?:", "]": ")?", "(": "(?:", ")": ")", "|": "|", ",": ""}
        return "(?:" + "".join(signs.get(part) or ("" if part == "," else word(part)) for part in parts) + ")"

    def word(name):
        return expression(rules[name]) if name in rules else f"(?:{name} )"

    return {name: re.compile(expression(text)) for name, text in rules.items()}


def stable_lines():
    return [line for row in table("## Lines on standard error") for line in quoted(row[0])]
