"""The parents of examples/, run by their own command lines against the simulated host. What they do in all situations
is tested by the conformance kit.

PARLEN_SOURCE: the tree; PARLEN_PROGRAM: the program."""

import os
import pathlib
import shutil
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
        self.environment = {**os.environ, "PARLEN_HOST": "simulated", "PARLEN_PROGRAM": PROGRAM}
        image = self.folder / "image"
        image.write_text('{"simulatedRestoreImage":1,"hardwareModel":"sim-1"}')
        self.guest = str(self.folder / "guest")
        subprocess.run([PROGRAM, "create", "--ipsw", image, "--bundle", self.guest, "--disk-gb", "1"],
                       env=self.environment, check=True, stdout=subprocess.DEVNULL)

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

    def outcome(self, bundle=None):
        return self.world.run(*self.command, bundle or self.world.guest, orders="wait running\n")

    def assert_ends(self, result, status, *words):
        self.assertEqual(result[0] == 0, status == 0, result[1])
        for word in words:
            self.assertRegex(result[1], word)

    def test_stops_a_guest_in_order(self):
        self.assert_ends(self.outcome(), 0, "after host stop request")

    def test_reports_a_missing_guest(self):
        self.assert_ends(self.outcome(bundle="/nowhere"), 1, "no VM bundle|bundle-missing")


class PythonParentTest(Parents, unittest.TestCase):
    command = ("python3", "-B", str(EXAMPLES / "parent.py"))

    def test_queues_inputs_and_gives_each_its_own_answer(self):
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


class NodeParentTest(Parents, unittest.TestCase):
    command = ("node", str(EXAMPLES / "parent.mjs"))

    def test_queues_inputs_and_gives_each_its_own_answer(self):
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


if __name__ == "__main__":
    unittest.main()
