"""The lines on the terminal, and the file to send back."""

import getpass
import os
import platform
import re
import socket

from outcomes import Refuted

PRIVACY = (
    "This report holds the results below and the versions of macOS, Xcode and the hardware. Names of "
    "the user, the home folder and this Mac have been taken out."
)
FACTS = (
    ("system", ["sw_vers"]),
    ("Xcode", ["xcodebuild", "-version"]),
    ("compiler", ["cc", "--version"]),
    ("CMake", ["cmake", "--version"]),
    ("hardware", ["sysctl", "-n", "hw.model", "machdep.cpu.brand_string", "hw.ncpu", "hw.memsize"]),
    ("source", ["git", "rev-parse", "HEAD"]),
)


def line(result):
    assumption = result.assumption
    text = f"{result.outcome:<9}  {assumption.id:<20}  {assumption.sentence}"
    if result.outcome == "REFUTED":
        return f"{text}\n{'':11}seen: {result.why}\n{'':11}change: {assumption.file}"
    return text + (f" ({result.why})" if result.why else "")


def facts(bench):
    for name, command in FACTS:
        try:
            _, output = bench.run(command, 30, folder=bench.source)
        except Refuted:
            output = "unknown"
        yield f"{name}: {' / '.join(output.split(chr(10))[:4]).strip(' /')}"


def without_names(text):
    """`text` without what says whose Mac this is."""
    names = {os.path.expanduser("~"): "~"}
    host = socket.gethostname()
    for name in (host, host.split(".")[0], platform.node()):
        names[name] = "this-mac"
    names[getpass.getuser()] = "user"
    for name, instead in sorted(names.items(), key=lambda pair: -len(pair[0])):
        if len(name) > 2:
            text = re.sub(rf"(?<!\w){re.escape(name)}(?!\w)", instead, text)
    return text


def summary(results):
    count = {outcome: sum(result.outcome == outcome for result in results)
             for outcome in ("PROVED", "REFUTED", "NOT TRIED")}
    return ", ".join(f"{number} {outcome}" for outcome, number in count.items())


def write(path, bench, results):
    lines = [PRIVACY, "", *facts(bench), "", *map(line, results), "", summary(results), ""]
    with open(path, "w", encoding="utf-8") as file:
        file.write(without_names("\n".join(lines)))
