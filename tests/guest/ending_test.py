"""The real program on QEMU: when the tool or QEMU is killed, the other one ends as well."""

import json
import os
import pathlib
import pty
import shutil
import signal
import subprocess
import tempfile
import unittest

from desktop import until
from images import write_bootless_image
from processes import QEMU, children, is_gone

PROGRAM = os.environ["PARLEN_PROGRAM"]
HARD_STOP = {"type": "state", "state": "stopped", "crashed": False,
             "reason": "host requested stop"}


class EndingTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.bundle = self.folder / "guest"
        self.image = self.folder / "image"
        write_bootless_image(self.image)
        self.environment = {name: value for name, value in os.environ.items()
                            if not name.startswith("PARLEN_")}
        subprocess.run([PROGRAM, "create", "--ipsw", self.image, "--bundle", self.bundle,
                        "--disk-gb", "1"], check=True, capture_output=True, env=self.environment)

    def start(self, **options):
        tool = subprocess.Popen([PROGRAM, "run", "--bundle", self.bundle],
                                stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                                env=self.environment, **{"stdin": subprocess.PIPE} | options)
        self.addCleanup(self.clean, tool)
        return tool

    def run_guest(self, **options):
        tool = self.start(**options)
        while json.loads(tool.stdout.readline()) != {"type": "state", "state": "running"}:
            pass
        return tool, children(tool.pid)[QEMU]

    @staticmethod
    def clean(tool):
        tool.kill()
        tool.wait()
        tool.stdout.close()
        if tool.stdin:
            tool.stdin.close()

    def events(self, tool):
        return [json.loads(line) for line in tool.stdout]

    def test_a_killed_qemu_is_reported_as_a_crash(self):
        tool, qemu = self.run_guest()
        os.kill(qemu, signal.SIGKILL)
        error, stopped = self.events(tool)
        self.assertEqual((error["type"], error["code"]), ("error", "boot-failed"))
        self.assertIn("Killed", error["message"])
        self.assertEqual((stopped["state"], stopped["crashed"]), ("stopped", True))
        self.assertEqual(tool.wait(), 1)

    def test_a_killed_qemu_is_a_crash_while_paused_too(self):
        tool, qemu = self.run_guest()
        tool.stdin.write(b'{"type":"pause"}\n')
        tool.stdin.flush()
        self.assertEqual(json.loads(tool.stdout.readline())["state"], "paused")
        os.kill(qemu, signal.SIGKILL)
        self.assertEqual([event.get("crashed") for event in self.events(tool)], [None, True])
        self.assertEqual(tool.wait(), 1)

    def test_a_killed_tool_leaves_no_qemu(self):
        tool, qemu = self.run_guest()
        tool.kill()
        tool.wait()
        until(lambda: is_gone(qemu), "QEMU outlives the tool")

    def test_a_tool_without_a_reader_leaves_no_qemu(self):
        tool, qemu = self.run_guest()
        tool.stdout.close()
        tool.stdin.write(b'{"type":"resume"}\n')  # the answer goes to a pipe without a reader
        tool.stdin.flush()
        self.assertEqual(tool.wait(), -signal.SIGPIPE)
        until(lambda: is_gone(qemu), "QEMU outlives the tool")

    def test_a_typed_interrupt_reaches_the_tool_alone(self):
        master, terminal = pty.openpty()
        self.addCleanup(os.close, master)

        def take_terminal():
            os.setsid()
            os.close(os.open(os.ttyname(terminal), os.O_RDWR))  # makes it the controlling terminal

        tool, qemu = self.run_guest(stdin=terminal, preexec_fn=take_terminal)
        os.close(terminal)
        self.assertEqual(os.getsid(qemu), qemu)
        os.write(master, b"\x03")
        self.assertEqual(self.events(tool), [HARD_STOP])
        self.assertEqual(tool.wait(), 0)
        self.assertTrue(is_gone(qemu))

    def test_a_killed_creation_leaves_nothing_to_run(self):
        tools = self.folder / "bin"
        tools.mkdir()
        waiting = self.folder / "waiting"
        real = shutil.which("qemu-img")
        (tools / "qemu-img").write_text(
            f'#!/bin/sh\ncase $1 in convert) : >"{waiting}"; exec sleep 600;; esac\nexec {real} "$@"\n')
        (tools / "qemu-img").chmod(0o755)
        self.bundle = self.folder / "half"
        creation = subprocess.Popen([PROGRAM, "create", "--ipsw", self.image, "--bundle", self.bundle],
                                    stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                                    env=self.environment | {"PATH": f"{tools}:{os.environ['PATH']}"})
        self.addCleanup(self.clean, creation)
        until(waiting.exists, "the installation begins")
        creation.kill()
        creation.wait()

        tool = self.start()
        events = []
        while not events or events[-1].get("state") not in ("running", "stopped"):
            events.append(json.loads(tool.stdout.readline()))
        *_, error, stopped = events
        self.assertEqual((error["type"], error.get("code")), ("error", "boot-failed"))
        self.assertIn("installation was not finished", error["message"])
        self.assertEqual((stopped["state"], stopped["crashed"]), ("stopped", True))
        self.assertEqual(tool.wait(), 1)

    def test_a_guest_of_the_first_version_runs(self):
        model = self.bundle / "HardwareModel"
        new = json.loads(model.read_bytes())
        if new["firmware"] != "/usr/share/OVMF/OVMF_CODE_4M.fd":
            self.skipTest("the first version had no guests with this host's firmware")
        model.write_text('{"architecture":"x86_64","firmware":"ovmf-4m","machineType":"q35"}')
        tool, _ = self.run_guest()
        tool.send_signal(signal.SIGTERM)
        self.assertEqual(self.events(tool), [HARD_STOP])
        self.assertEqual(tool.wait(), 0)

    def test_a_second_run_of_a_bundle_fails_alone(self):
        first, _ = self.run_guest()
        second = self.start()
        *_, error, stopped = self.events(second)
        self.assertEqual(error["message"], "the guest is in use by another process")
        self.assertTrue(stopped["crashed"])
        self.assertEqual(second.wait(), 1)
        first.send_signal(signal.SIGTERM)
        self.assertEqual(self.events(first), [HARD_STOP])
        self.assertEqual(first.wait(), 0)


if __name__ == "__main__":
    unittest.main()
