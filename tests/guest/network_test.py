"""The real program and real guests: what a guest reaches over its network, and that passt, which
connects it, ends with whatever ends first."""

import os
import pathlib
import signal
import subprocess
import sys
import tempfile
import unittest

import private_network
from desktop import Tool, until
from images import write_bootless_image
from private_network import NAME, OUTSIDE, PrivateNetwork, without_passt
from processes import PASST, QEMU, children, is_gone

sys.path.append(str(pathlib.Path(__file__).resolve().parents[2] / "guest-kit"))
from guest_folder import GuestFolder  # noqa: E402

PROGRAM = os.environ["PARLEN_PROGRAM"]
IMAGE = os.environ.get("PARLEN_GUEST_IMAGE", os.environ.get("PARLEN_DEFAULT_GUEST_IMAGE", ""))
BOOT_TIMEOUT = 180  # seconds; a busy machine emulates the start of a guest slowly
HARD_STOP = {"type": "state", "state": "stopped", "crashed": False,
             "reason": "host requested stop"}
TCP_LISTEN = "0A"  # include/net/tcp_states.h

needs_image = unittest.skipUnless(os.path.exists(IMAGE), f"scripts/make-guest-image makes '{IMAGE}'")

# Run in the guest. The first tells which places answer.
ASK_PLACES = """
gateway=$(ip route | sed -n 's/^default via \\([^ ]*\\) .*/\\1/p')
echo "gateway $gateway"
for place in {places}; do
  timeout 30 wget -q -O /dev/null "http://$place/" 2>/dev/null && echo answers || echo not
done
"""
ASK_CARRIER = "cat /sys/class/net/eth0/carrier"


def listening(pid):
    """The sockets that listen in a process's network namespace."""
    lines = [line for name in ("tcp", "tcp6")
             for line in pathlib.Path(f"/proc/{pid}/net/{name}").read_text().splitlines()[1:]]
    return [line for line in lines if line.split()[3] == TCP_LISTEN]


@unittest.skipUnless(os.path.exists(private_network.PASST), "passt is not installed")
@unittest.skipIf(private_network.missing(), private_network.missing())
class NetworkTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.logs = self.folder / "logs"
        self.logs.mkdir()
        self.network = self.enterContext(PrivateNetwork())

    def bundle(self, image):
        bundle = self.folder / "guest"
        subprocess.run([PROGRAM, "create", "--ipsw", image, "--bundle", bundle, "--disk-gb", "1"],
                       check=True, capture_output=True)
        return bundle

    def run_tool(self, bundle, *options, before=()):
        command = [*self.network.on_host(), *before, PROGRAM]
        tool = Tool(*command, "run", "--bundle", bundle, *options)
        self.addCleanup(tool.close)
        tool.wait_for(state="running")
        return tool

    def run_firmware(self, **more):
        """A run whose guest stays in its firmware, and its children."""
        image = self.folder / "image"
        write_bootless_image(image)
        tool = self.run_tool(self.bundle(image), **more)
        return tool, children(tool.process.pid)

    def stop(self, tool):
        tool.process.send_signal(signal.SIGTERM)
        self.assertEqual(0, tool.end(), tool.log())
        self.assertEqual(HARD_STOP, tool.events[-1])

    def network_warnings(self, tool):
        return [line for line in tool.errors if "network" in line or "passt" in line]

    def boot(self, before=()):
        """A run whose guest is up."""
        tool = self.run_tool(self.bundle(IMAGE), "--logs-share", self.logs, before=before)
        self.guest = GuestFolder(self.logs)
        until(self.guest.up, "the start of the guest", BOOT_TIMEOUT)
        return tool

    def ask_guest(self, script):
        """The lines that a script writes which runs in the guest."""
        self.guest.submit(script)
        result = until(self.guest.result, "the end of the guest's script", BOOT_TIMEOUT)
        return result.output.decode().splitlines()

    # ---- what a guest reaches ----

    def answers(self, before):
        """A run whose guest is up; the guest's address; what it says of its gateway, and whether
        places answer: one outside by its address and by its name, and two that may stand for the
        host's loopback; how often that was reached."""
        _, outside = self.network.listen("outside", OUTSIDE)
        loopback, port = self.network.listen("host", "127.0.0.1")
        tool = self.boot(before)
        places = [f"{OUTSIDE}:{outside}", f"{NAME}:{outside}", f"$gateway:{port}",
                  f"10.0.2.2:{port}"]
        said = self.ask_guest(ASK_PLACES.format(places=" ".join(places)))
        addresses = self.guest.up()["addresses"]
        loopback.kill()
        reached = loopback.stdout.read().count("reached")
        return tool, addresses[0], said, reached

    @needs_image
    def test_a_guest_reaches_no_loopback_and_sees_that_its_cable_is_out(self):
        # Two things in one test, because the start of a guest takes most of the time.
        tool, address, said, reached = self.answers(before=())
        self.assertEqual(private_network.HOST, address)
        self.assertEqual(f"gateway {OUTSIDE}", said[0])
        self.assertEqual(["answers", "answers", "not", "not"], said[1:])
        self.assertEqual(0, reached)

        os.kill(children(tool.process.pid)[PASST], signal.SIGKILL)
        until(lambda: self.network_warnings(tool), "the warning")
        self.assertEqual(["0"], self.ask_guest(ASK_CARRIER))
        self.stop(tool)

    @needs_image
    def test_without_passt_a_guest_reaches_the_loopback(self):
        tool, address, said, reached = self.answers(before=without_passt())
        self.assertEqual("10.0.2.15", address)
        self.assertEqual("gateway 10.0.2.2", said[0])
        self.assertEqual(["answers"] * 4, said[1:])
        self.assertEqual(2, reached)
        self.stop(tool)

    # ---- how passt ends ----

    def test_nothing_listens_and_nothing_is_left(self):
        tool, processes = self.run_firmware()
        self.assertEqual([], listening(processes[PASST]))
        # passt itself gives up being root, which these tests often are.
        status = pathlib.Path(f"/proc/{processes[PASST]}/status").read_text()
        self.assertNotRegex(status, r"Uid:(\t\d+)*\t0\b")
        self.stop(tool)
        self.assertTrue(all(is_gone(pid) for pid in processes.values()))
        self.assertEqual([], self.network_warnings(tool))

    def test_a_killed_tool_leaves_no_passt(self):
        tool, processes = self.run_firmware()
        tool.process.kill()
        for name, pid in processes.items():
            until(lambda pid=pid: is_gone(pid), f"the end of {name}")

    def test_a_killed_qemu_leaves_no_passt(self):
        tool, processes = self.run_firmware()
        os.kill(processes[QEMU], signal.SIGKILL)
        self.assertEqual(1, tool.end())
        self.assertTrue(is_gone(processes[PASST]))
        self.assertEqual([], self.network_warnings(tool))

    def test_a_killed_passt_is_a_warning(self):
        tool, processes = self.run_firmware()
        os.kill(processes[PASST], signal.SIGKILL)
        until(lambda: self.network_warnings(tool), "the warning")
        self.assertEqual(["parlen-mac-vm: network attachment disconnected "
                          "(passt was ended by signal 9 (Killed))"], self.network_warnings(tool))
        tool.send(type="pause")
        tool.wait_for(type="guest-power", state="paused")
        self.stop(tool)

    def test_without_a_route_a_guest_runs_without_network(self):
        tool, processes = self.run_firmware(before=["unshare", "--net", "--"])
        until(lambda: self.network_warnings(tool), "the warning")
        self.assertNotIn("user,id=", pathlib.Path(f"/proc/{processes[QEMU]}/cmdline").read_text())
        self.assertEqual(["parlen-mac-vm: network attachment disconnected (passt has ended with "
                          "status 1: External interface not usable)"], self.network_warnings(tool))
        self.stop(tool)


if __name__ == "__main__":
    unittest.main(verbosity=2)
