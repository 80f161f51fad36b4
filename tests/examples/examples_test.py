"""The parents of examples/, run by their own command lines against the simulated host.

PARLEN_SOURCE: the tree; PARLEN_PROGRAM: the program."""

import json
import os
import pathlib
import re
import shutil
import signal
import subprocess
import tempfile
import unittest

EXAMPLES = pathlib.Path(os.environ["PARLEN_SOURCE"]) / "examples"
PROGRAM = os.environ["PARLEN_PROGRAM"]


class World:
    """A folder with an installed guest, and the environment in which a scenario is played."""

    def __init__(self, test):
        folder = tempfile.TemporaryDirectory()
        test.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.environment = {**os.environ, "PARLEN_HOST": "simulated", "PARLEN_PROGRAM": PROGRAM,
                            "PARLEN_PATIENCE": "1"}
        image = self.folder / "image"
        image.write_text('{"simulatedRestoreImage":1,"hardwareModel":"sim-1"}')
        self.guest = str(self.folder / "guest")
        subprocess.run([PROGRAM, "create", "--ipsw", image, "--bundle", self.guest, "--disk-gb", "1"],
                       env=self.environment, check=True, stdout=subprocess.DEVNULL)

    def play(self, scenario):
        path = self.folder / "scenario.json"
        path.write_text(json.dumps(scenario))
        self.environment["PARLEN_SCENARIO"] = str(path)

    def run(self, *command, orders=""):
        """The parent's exit status and what it printed."""
        done = subprocess.run(command, env=self.environment, input=orders, text=True, timeout=120,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
        return done.returncode, done.stdout


class Parents:
    """What every parent does with a guest that it starts and stops."""

    command = ()

    def setUp(self):
        if shutil.which(self.command[0]) is None:
            self.skipTest(f"there is no {self.command[0]}")
        self.world = World(self)

    def outcome(self, scenario, bundle=None):
        self.world.play(scenario)
        return self.world.run(*self.command, bundle or self.world.guest, orders="wait running\n")

    def assert_ends(self, result, status, *words):
        self.assertEqual(result[0] == 0, status == 0, result[1])
        for word in words:
            self.assertRegex(result[1], word)

    def test_stops_a_guest_in_order(self):
        self.assert_ends(self.outcome({}), 0, "after host stop request")

    def test_reports_a_guest_that_stops_by_itself(self):
        scenario = {"machine": {"shutdownMs": None}, "script": [{"atMs": 50, "event": "guest-stops"}]}
        self.assert_ends(self.outcome(scenario), 0, "guest stopped .* after 0s")

    def test_reports_a_guest_that_fails(self):
        scenario = {"machine": {"shutdownMs": None},
                    "script": [{"atMs": 50, "event": "stops-with-error", "error": {"description": "burnt"}}]}
        # Whether the guest fails before or after the stop is asked for, only its status differs.
        self.assertRegex(self.outcome(scenario)[1], "burnt")

    def test_reports_a_guest_that_does_not_start(self):
        scenario = {"machine": {"startError": {"domain": "VZErrorDomain", "code": 6, "description": "too many"}}}
        self.assert_ends(self.outcome(scenario), 1, "vm-limit|too many")

    def test_reports_a_missing_guest(self):
        self.assert_ends(self.outcome({}, bundle="/nowhere"), 1, "no VM bundle|bundle-missing")

    def test_ignores_what_it_does_not_know(self):
        later = self.world.folder / "later"
        later.write_text("#!/bin/sh\necho '{\"type\":\"weather\",\"sky\":[]}'\n"
                         f"exec '{PROGRAM}' \"$@\"\n")
        later.chmod(0o755)
        self.world.environment["PARLEN_PROGRAM"] = str(later)
        self.assert_ends(self.outcome({}), 0, "weather", "after host stop request")


class PythonParentTest(Parents, unittest.TestCase):
    command = ("python3", "-B", str(EXAMPLES / "parent.py"))

    def test_queues_inputs_and_gives_each_its_own_answer(self):
        self.world.play({})
        script = """
import asyncio, sys
sys.path.insert(0, sys.argv[2])
from parent import Guest, Refused
async def main():
    async with Guest(sys.argv[1], gui=True, note=lambda line: None) as guest:
        await guest.running()
        inputs = [guest.type("abc", 20), guest.type("\\u00e9"), guest.press("cmd+Bad"), guest.type("def", 20)]
        for result in await asyncio.gather(*inputs, return_exceptions=True):
            print(getattr(result, "code", "done"))
asyncio.run(main())
"""
        status, text = self.world.run("python3", "-B", "-c", script, self.world.guest, str(EXAMPLES))
        self.assertEqual((status, text.split()), (0, ["done", "input-failed", "input-failed", "done"]))

    def test_stops_a_guest_that_ignores_the_request(self):
        self.world.play({"machine": {"shutdownMs": None}})
        script = """
import asyncio, sys
sys.path.insert(0, sys.argv[2])
from parent import Guest
async def main():
    async with Guest(sys.argv[1]) as guest:
        await guest.running()
        print(await guest.stop(patience=(0.1, 30)))
asyncio.run(main())
"""
        status, text = self.world.run("python3", "-B", "-c", script, self.world.guest, str(EXAMPLES))
        self.assertEqual(status, 0, text)
        self.assertIn("status=0, crashed=False, reason='host requested stop'", text)

    def test_kills_a_tool_that_cannot_stop(self):
        self.world.play({"machine": {"shutdownMs": None, "stopMs": None}})
        script = """
import asyncio, sys
sys.path.insert(0, sys.argv[2])
from parent import Guest
async def main():
    async with Guest(sys.argv[1]) as guest:
        await guest.running()
        print(await guest.stop(patience=(0.1, 0.1)))
asyncio.run(main())
"""
        status, text = self.world.run("python3", "-B", "-c", script, self.world.guest, str(EXAMPLES))
        self.assertEqual(status, 0, text)
        self.assertIn(f"status={-signal.SIGKILL}, ", text)


class NodeParentTest(Parents, unittest.TestCase):
    command = ("node", str(EXAMPLES / "parent.mjs"))

    def test_queues_inputs_and_gives_each_its_own_answer(self):
        self.world.play({})
        script = """
const { Guest } = await import(process.argv[2]);
const guest = new Guest(process.argv[1], { gui: true, note: () => {} });
await guest.running;
const inputs = [guest.type("abc", 20), guest.type("\\u00e9"), guest.press("cmd+Bad"), guest.type("def", 20)];
for (const result of await Promise.allSettled(inputs)) console.log(result.reason?.code ?? "done");
console.log((await guest.stop()).status);
"""
        status, text = self.world.run("node", "--input-type=module", "-e", script, self.world.guest,
                                      str(EXAMPLES / "parent.mjs"))
        self.assertEqual((status, text.split()), (0, ["done", "input-failed", "input-failed", "done", "0"]))


class ShellParentTest(Parents, unittest.TestCase):
    command = ("bash", str(EXAMPLES / "parent.sh"))

    def setUp(self):
        if shutil.which("jq") is None:
            self.skipTest("there is no jq")
        super().setUp()

    def test_waits_for_each_answer(self):
        self.world.play({})
        status, text = self.world.run(*self.command, self.world.guest,
                                      orders="wait running\npause\npause\nresume\nresume\n")
        self.assertEqual(status, 0, text)
        answers = re.findall(r'"(paused|resumed|pause-refused|resume-refused)"', text)
        self.assertEqual(answers, ["paused", "pause-refused", "resumed", "resume-refused"])

    def test_stops_a_guest_that_ignores_the_request(self):
        self.assert_ends(self.outcome({"machine": {"shutdownMs": None}}), 0, "host requested stop")


if __name__ == "__main__":
    unittest.main()
