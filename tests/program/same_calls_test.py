"""Every test of the program, once on the macOS host and once on the simulated one: both make the same
calls of their frameworks. PARLEN_PROGRAM_TEST: the tests."""

import concurrent.futures
import os
import pathlib
import re
import subprocess
import tempfile
import unittest

TESTS = os.environ["PARLEN_PROGRAM_TEST"]

# hosts_test.cpp compares by itself, and macos_test.cpp is about the macOS host alone.
OTHERS = (
    "TwoHosts",
    "TheStoriesOfTheRunner",
    "WithoutALoginSession",
    "AnApplicationThatIs",
    "AProgramThatAPersonQuits",
    "AWindowThatIsNotMade",
    "WithAMessageThatRaises",
)

# What they send, or how they end the program, comes before or after the guest's start, as it happens; or,
# of many signals, some are one.
UNDECIDED = (
    "Races",
    "StandardInputFrom",
    "StandardInput.MayHaveEndedBeforeTheProgramStarts",
    "StandardOutput.ThatTakesNothingLeavesARunItsStatus",
    "Signals.MayArriveManyTimes",
    "Signals.EndAStatusOrACreateAsTheyEndAnyProgram",
)

# What each run has of its own.
DIFFERENCES = (
    (r'("ms"|"timestamp"):[0-9.e+-]+', r"\1:0"),
    (r'("machineIdentifier"|"macAddress"):"[^"]*"', r"\1:0"),
    (r"parlen-test-\w{6}", "parlen-test"),
)


def names():
    """The tests' names, as --gtest_filter takes them."""
    found, suite = [], ""
    listed = subprocess.run([TESTS, "--gtest_list_tests"], check=True, capture_output=True, text=True).stdout
    for line in listed.splitlines():
        word = line.split("#")[0].rstrip()
        if word.endswith("."):
            suite = word
        elif word.startswith("  "):
            found.append(suite + word.strip())
    return [name for name in found if not any(word in name for word in OTHERS + UNDECIDED)]


def calls(name, host):
    """What the last programs of a test's worlds have called on a host."""
    with tempfile.TemporaryDirectory() as folder:
        done = subprocess.run([TESTS, f"--gtest_filter={name}"], capture_output=True, text=True,
                              env=os.environ | {"PARLEN_PROGRAM_HOST": host, "PARLEN_LINES": folder})
        if done.returncode != 0:
            raise AssertionError(f"{name} on {host}\n{done.stdout}")
        trace = "".join(path.read_text() for path in sorted(pathlib.Path(folder).glob("trace-*")))
    for pattern, replacement in DIFFERENCES:
        trace = re.sub(pattern, replacement, trace)
    return trace.splitlines()


def on_both(name):
    """The calls on each host. A difference that is the machine's, not the program's, is not there each time."""
    for _ in range(3):
        macos, simulated = calls(name, "macos"), calls(name, "simulated")
        if macos == simulated:
            break
    return name, macos, simulated


class SameCallsTest(unittest.TestCase):
    maxDiff = None

    def test_are_made_by_each_test_of_the_program(self):
        with concurrent.futures.ThreadPoolExecutor(2) as runs:
            made = list(runs.map(on_both, names()))
        for name, one, other in made:
            with self.subTest(name):
                self.assertEqual(one, other)
        self.assertGreater(sum(len(one) > 0 for _, one, _ in made), 25)


if __name__ == "__main__":
    unittest.main()
