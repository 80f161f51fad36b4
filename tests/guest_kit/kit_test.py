"""The guest kit, both sides in one folder and without a guest. PARLEN_SOURCE: the tree; PARLEN_PROGRAM:
the program.

The commands whose answers differ from guest to guest (addresses, the system's name) are stand-ins."""

import asyncio
import configparser
import importlib
import os
import pathlib
import plistlib
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest
import unittest.mock

KIT = pathlib.Path(os.environ["PARLEN_SOURCE"]) / "guest-kit"
sys.path.insert(0, str(KIT))

from guest_folder import GuestFolder, Result  # noqa: E402

TIMEOUT = 120  # seconds; for a machine with much other work
UP = re.compile(r'\{"kit":1,"boot":[0-9]+,"time":"[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9:]{8}Z",'
                r'"host":"[^"]+","addresses":\[("[^"]+"(,"[^"]+")*)?\]\}\n')

# iproute2's `ip -o address show` on Debian 12, and busybox's, which has no "proto" or "nodad".
LINUX_ADDRESSES = r"""1: lo    inet 127.0.0.1/8 scope host lo\       valid_lft forever preferred_lft forever
1: lo    inet6 ::1/128 scope host \       valid_lft forever preferred_lft forever
4: eth0    inet 192.0.2.2/24 brd 192.0.2.255 scope global eth0\       valid_lft forever
4: eth0    inet 169.254.7.7/16 scope link eth0\       valid_lft forever preferred_lft forever
4: eth0    inet6 2001:db8::2/64 scope global nodad \       valid_lft forever preferred_lft forever
4: eth0    inet6 fe80::fc:ff:fe00:1/64 scope link \       valid_lft forever preferred_lft forever
"""
# As in the examples of ifconfig(8) of macOS.
MAC_ADDRESSES = """lo0: flags=8049<UP,LOOPBACK,RUNNING,MULTICAST> mtu 16384
\tinet 127.0.0.1 netmask 0xff000000
\tinet6 ::1 prefixlen 128
\tinet6 fe80::1%lo0 prefixlen 64 scopeid 0x1
en0: flags=8863<UP,BROADCAST,SMART,RUNNING,SIMPLEX,MULTICAST> mtu 1500
\tether 06:97:20:ff:46:ff
\tinet6 fe80::497:20ff:feff:46ff%en0 prefixlen 64 secured scopeid 0x4
\tinet6 2001:db8::2 prefixlen 64 autoconf secured
\tinet 192.0.2.2 netmask 0xffffff00 broadcast 192.0.2.255
"""


def until(condition):
    """Waits until `condition` returns something true, and returns that."""
    end = time.monotonic() + TIMEOUT
    while not (value := condition()):
        if time.monotonic() > end:
            raise AssertionError(f"not within {TIMEOUT} s")
        time.sleep(0.01)
    return value


class Guest:
    """The kit's guest side as a process, with stand-ins for some commands before the real ones."""

    def __init__(self, test, shell):
        folder = tempfile.TemporaryDirectory()
        test.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)
        self.shell = shell
        for name in ("logs", "commands"):
            (self.root / name).mkdir()
        self.logs = self.root / "logs"
        self.folder = GuestFolder(self.logs)
        self.command("sleep", "exec /bin/sleep 0.02")
        self.processes = []
        test.addCleanup(self.kill)

    def command(self, name, script):
        path = self.root / "commands" / name
        path.write_text(f"#!/bin/sh\n{script}\n")
        path.chmod(0o755)

    def answer(self, name, text):
        """The command prints this text from now on."""
        answer = self.root / f"{name}.answer"
        (self.root / "new").write_text(text)
        (self.root / "new").rename(answer)
        self.command(name, f"cat '{answer}'")

    def environment(self):
        path = f"{self.root}/commands:{os.environ['PATH']}"
        return {**os.environ, "PATH": path, "PARLEN_GUEST_STATE": str(self.root / "state")}

    def start(self, *arguments):
        process = subprocess.Popen([*self.shell, KIT / "parlen-guest", *arguments],
                                   env=self.environment(), stdin=subprocess.DEVNULL)
        self.processes.append(process)
        return process

    def boot(self):
        self.folder.clear()
        process = self.start(self.logs)
        until(self.folder.up)
        return process

    def stop(self, process):
        process.send_signal(signal.SIGTERM)
        return process.wait(timeout=TIMEOUT)

    def kill(self):
        for process in self.processes:
            if process.poll() is None:
                process.kill()
            process.wait()

    def ask(self, script):
        self.folder.submit(script)
        return until(self.folder.result)


class Kit:
    """What the guest's side does on every system and in every shell."""

    shell = ()

    def setUp(self):
        if shutil.which(self.shell[0]) is None:
            self.skipTest(f"there is no {self.shell[0]}")
        self.guest = Guest(self, self.shell)
        self.prepare()

    def prepare(self):
        self.guest.answer("ip", LINUX_ADDRESSES)

    addresses = ["192.0.2.2", "2001:db8::2"]

    def test_says_that_it_is_up(self):
        self.guest.boot()
        up = self.guest.folder.up()
        self.assertRegex((self.guest.logs / "up").read_text(), UP)
        self.assertEqual(self.addresses, up["addresses"])
        self.assertEqual(1, up["boot"])

    def test_counts_boots_and_not_its_own_starts(self):
        self.guest.stop(self.guest.boot())
        self.guest.stop(self.guest.boot())
        self.assertRegex((self.guest.root / "state/boot").read_text(), "^1 ")
        (self.guest.root / "state/boot").write_text("41 of-another-boot\n")
        self.guest.boot()
        self.assertEqual(42, self.guest.folder.up()["boot"])

    def test_counts_anew_when_its_count_is_damaged(self):
        (self.guest.root / "state").mkdir()
        for damaged in ("", "08 x\n", "$(reboot) x\n"):
            (self.guest.root / "state/boot").write_text(damaged)
            kit = self.guest.boot()
            self.assertEqual(1, self.guest.folder.up()["boot"], damaged)
            self.guest.stop(kit)

    def test_returns_a_scripts_status_and_output(self):
        self.guest.boot()
        result = self.guest.ask("pwd; printf 'a\\000\\377'; echo b >&2; exit 3")
        self.assertEqual(Result(3, b"/\na\0\xffb\n"), result)
        self.assertEqual(Result(0, b""), self.guest.ask("true"))
        self.assertEqual(Result(0, b"no line feed"), self.guest.ask("printf 'no line feed'"))

    def test_survives_a_script_that_is_killed_or_nonsense(self):
        self.guest.boot()
        self.assertEqual(128 + signal.SIGKILL, self.guest.ask("kill -9 $$").status)
        self.assertNotEqual(0, self.guest.ask("if (").status)
        self.assertEqual(Result(0, b"alive\n"), self.guest.ask("echo alive; cat"))

    def test_says_so_when_its_addresses_change(self):
        self.guest.answer(self.tool, "")
        self.guest.boot()
        self.assertEqual([], self.guest.folder.up()["addresses"])
        self.prepare()
        until(lambda: self.guest.folder.up()["addresses"] == self.addresses)
        self.guest.answer(self.tool, "")
        until(lambda: self.guest.folder.up()["addresses"] == [])

    tool = "ip"

    def test_takes_up_away_when_it_is_stopped(self):
        kit = self.guest.boot()
        self.assertEqual(0, self.guest.stop(kit))
        self.assertEqual([], os.listdir(self.guest.logs))

    def test_names_a_file_when_it_is_whole(self):
        moved = self.guest.root / "moved"
        moved.mkdir()
        self.guest.command("mv", f'case $2 in *.part) cp "$2" "{moved}" ;; esac; exec /bin/mv "$@"')
        self.guest.boot()
        self.guest.ask("echo a; echo b")
        self.assertEqual(["done", "up"], sorted(os.listdir(self.guest.logs)))
        for name in ("done", "up"):
            self.assertEqual((self.guest.logs / name).read_text(), (moved / f"{name}.part").read_text())

    def test_ends_without_a_folder(self):
        self.guest.command("mkdir", "exit 0")
        self.guest.command("mount", "exit 1")
        self.guest.command("mount_virtiofs", "exit 1")
        self.assertEqual(0, self.guest.start().wait(timeout=TIMEOUT))
        self.assertEqual([], os.listdir(self.guest.logs))


class DashTest(Kit, unittest.TestCase):
    shell = ("dash",)


class BashTest(Kit, unittest.TestCase):
    shell = ("bash", "--posix")


class BusyboxTest(Kit, unittest.TestCase):
    # This shell prefers its own commands to those of PATH, but not to functions.
    shell = ("busybox", "sh", "-c", """
        stand_in() {
          if [ -x "${PATH%%:*}/$1" ]; then word=$1; shift; "${PATH%%:*}/$word" "$@"; else command "$@"; fi
        }
        for name in ip mkdir mount mv sleep; do eval "$name() { stand_in $name \\"\\$@\\"; }"; done
        . "$0" """)


class MacTest(Kit, unittest.TestCase):
    """The commands of macOS are stand-ins; their texts are not from a Mac."""

    shell = ("bash", "--posix")  # macOS runs sh as bash 3.2 in POSIX mode
    addresses = ["2001:db8::2", "192.0.2.2"]
    tool = "ifconfig"

    def prepare(self):
        self.guest.command("uname", '[ "$1" = -s ] && echo Darwin || echo mac.local')
        self.guest.command("sysctl", '[ "$*" = "-n kern.bootsessionuuid" ] && echo 1-2-3')
        self.guest.command("ip", "exit 1")
        self.guest.answer("ifconfig", MAC_ADDRESSES)

    def test_knows_its_boot(self):
        self.guest.boot()
        self.assertEqual("1 1-2-3\n", (self.guest.root / "state/boot").read_text())
        self.assertEqual("mac.local", self.guest.folder.up()["host"])

    def test_mounts_the_folder_by_its_tag(self):
        self.guest.command("mkdir", "exit 0")
        self.guest.command("mount", "exit 0")
        said = self.guest.root / "said"
        self.guest.command("mount_virtiofs", f'echo "$@" >"{said}"; exit 1')
        self.assertEqual(0, self.guest.start().wait(timeout=TIMEOUT))
        self.assertEqual("parlen-logs /private/var/run/parlen-logs\n", said.read_text())


class ParentTest(unittest.TestCase):
    """The parent's side, without a guest; the test plays it."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.path = pathlib.Path(folder.name)
        self.folder = GuestFolder(self.path)

    def test_does_not_take_an_old_answer_for_the_new_one(self):
        (self.path / "done").write_text('{"kit":1,"boot":1,"status":0}\nold')
        self.assertIsNone(self.folder.result())
        self.folder.submit("echo new")
        self.assertIsNone(self.folder.result())
        (self.path / "done").write_text('{"kit":1,"boot":1,"status":0,"more":[]}\nnew')
        self.assertEqual(Result(0, b"new"), self.folder.result())
        self.assertIsNone(self.folder.result())

    def test_hands_over_one_script_at_a_time(self):
        self.folder.submit("true")
        self.assertEqual(["run"], os.listdir(self.path))
        with self.assertRaises(RuntimeError):
            self.folder.submit("false")
        self.assertEqual("true", (self.path / "run").read_text())

    def test_clears_what_is_the_kits_and_nothing_else(self):
        for name in ("up", "run", "done", "up.part", "run.part", "done.part", "install.log"):
            (self.path / name).write_text("{}")
        self.folder.clear()
        self.assertIsNone(self.folder.up())
        self.assertEqual(["install.log"], os.listdir(self.path))

    def test_is_in_the_readme_for_shells(self):
        block = re.search(r"```sh\n(rm -f logs.*?)```", (KIT / "README.md").read_text(), re.S).group(1)
        started = "# ... the tool is started: parlen-mac-vm run --bundle vm1 --logs-share logs\n"
        self.assertIn(started, block)
        guest = Guest(self, ("dash",))
        guest.answer("ip", LINUX_ADDRESSES)
        guest.command("df", 'echo "$*"')
        (guest.logs / "up").write_text('{"addresses":["of an earlier run"]}')
        kit = f"'{KIT}/parlen-guest' logs &\nkit=$!\n"
        done = subprocess.run(["sh", "-c", block.replace(started, kit) + "kill $kit\n"], cwd=guest.root,
                              env=guest.environment(), timeout=TIMEOUT, check=True, capture_output=True)
        self.assertEqual(b"192.0.2.2\n0\n-h /\n", done.stdout)


EXAMPLES = KIT.parent / "examples"


class ExampleTest(unittest.TestCase):
    """The parents of examples/ with a guest on the simulated host, in whose folder the kit runs."""

    def setUp(self):
        self.guest = Guest(self, ("dash",))
        self.guest.answer("ip", LINUX_ADDRESSES)
        self.environment = {"PARLEN_HOST": "simulated", "PARLEN_PROGRAM": os.environ["PARLEN_PROGRAM"]}
        (self.guest.root / "image").write_text('{"simulatedRestoreImage":1,"hardwareModel":"sim-1"}')
        create = ["create", "--ipsw", "image", "--bundle", "vm1", "--disk-gb", "1"]
        subprocess.run([os.environ["PARLEN_PROGRAM"], *create], cwd=self.guest.root, check=True,
                       env={**os.environ, **self.environment}, stdout=subprocess.DEVNULL)

    def play(self, story):
        """Runs a coroutine with a Guest of the example, and returns what it returns."""
        with unittest.mock.patch.dict(os.environ, self.environment), \
                unittest.mock.patch.object(sys, "path", [str(EXAMPLES), *sys.path]):
            parent = importlib.import_module("parent")

            async def run():
                async with parent.Guest(str(self.guest.root / "vm1"), logs_share=str(self.guest.logs),
                                        note=lambda line: None) as guest:
                    return await asyncio.wait_for(story(parent, guest), TIMEOUT)

            return asyncio.run(run())

    def test_hears_of_the_guest_and_asks_it(self):
        async def story(parent, guest):
            self.guest.folder.clear()
            self.guest.start(self.guest.logs)
            up = await guest.until(self.guest.folder.up)
            self.guest.folder.submit("echo hello; exit 4")
            return up["addresses"], await guest.until(self.guest.folder.result)

        addresses, result = self.play(story)
        self.assertEqual(["192.0.2.2", "2001:db8::2"], addresses)
        self.assertEqual(Result(4, b"hello\n"), result)

    def test_does_not_wait_for_a_guest_that_has_stopped(self):
        async def story(parent, guest):
            await guest.running()
            await guest.stop()
            with self.assertRaises(parent.Refused):
                await guest.until(self.guest.folder.up)
            return True

        self.assertTrue(self.play(story))

    def start_other(self, *command):
        """A parent that is no Python, with what an earlier run has left in the folder."""
        if shutil.which(command[0]) is None:
            self.skipTest(f"there is no {command[0]}")
        (self.guest.logs / "up").write_text('{"addresses":["of an earlier run"]}')
        process = subprocess.Popen(command, env={**os.environ, **self.environment}, cwd=self.guest.root, text=True,
                                   stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        self.addCleanup(process.stdout.close)
        self.guest.processes.append(process)
        return process

    def in_node(self, story):
        script = f"""
const {{ Guest, clear, up }} = await import({str(EXAMPLES / "parent.mjs")!r});
clear("logs");
const guest = new Guest("vm1", {{ logsShare: "logs", note: () => {{}} }});
await guest.running;
console.log("runs");
{story}
console.log((await guest.stop()).status);
"""
        process = self.start_other("node", "--input-type=module", "-e", script)
        self.assertEqual("runs\n", process.stdout.readline())
        return process

    def test_is_heard_of_in_javascript(self):
        process = self.in_node('console.log((await guest.until(() => up("logs"))).addresses[0]);')
        self.guest.start(self.guest.logs)
        self.assertEqual(("192.0.2.2\n0\n", None), process.communicate(timeout=TIMEOUT))

    def test_is_not_waited_for_in_javascript_when_it_has_stopped(self):
        process = self.in_node('await guest.stop(); await guest.until(() => up("logs"))'
                               ".catch((refused) => console.log(refused.code));")
        self.assertEqual(("ended\n0\n", None), process.communicate(timeout=TIMEOUT))

    def in_shell(self):
        if shutil.which("jq") is None:
            self.skipTest("there is no jq")
        return self.start_other("bash", EXAMPLES / "parent.sh", "vm1", "--logs-share", "logs")

    def test_is_heard_of_in_a_shell(self):
        process = self.in_shell()
        print("wait running", file=process.stdin, flush=True)
        until(lambda: '"running"' in process.stdout.readline())
        self.guest.start(self.guest.logs)
        said, _ = process.communicate("wait up\n", timeout=TIMEOUT)
        heard = next(line for line in said.splitlines() if '"kit"' in line)
        self.assertRegex(heard + "\n", UP)
        self.assertIn('"status":0', said.splitlines()[-1])

    def test_is_not_waited_for_in_a_shell_when_it_has_stopped(self):
        process = self.in_shell()
        said, _ = process.communicate('{"type":"stop"}\nwait up\n', timeout=TIMEOUT)
        self.assertNotIn("addresses", said)
        self.assertIn('"status":0', said.splitlines()[-1])


class FilesTest(unittest.TestCase):
    """What starts the kit in a guest."""

    def test_the_unit_starts_the_script_last(self):
        unit = configparser.ConfigParser(interpolation=None)
        unit.optionxform = str
        unit.read(KIT / "parlen-guest.service")
        self.assertEqual("/usr/local/bin/parlen-guest", unit["Service"]["ExecStart"])
        self.assertEqual("PARLEN_GUEST_STATE=/var/lib/" + unit["Service"]["StateDirectory"],
                         unit["Service"]["Environment"])
        self.assertEqual(unit["Unit"]["After"], unit["Install"]["WantedBy"])

    def test_systemd_accepts_the_unit(self):
        if shutil.which("systemd-analyze") is None:
            self.skipTest("there is no systemd-analyze")
        with tempfile.TemporaryDirectory() as folder:
            # The program need not be installed here.
            text = (KIT / "parlen-guest.service").read_text().replace("/usr/local/bin/parlen-guest", "/bin/true")
            unit = pathlib.Path(folder) / "parlen-guest.service"
            unit.write_text(text)
            found = subprocess.run(["systemd-analyze", "verify", "--man=no", unit], capture_output=True, text=True)
            said = [line for line in found.stderr.splitlines() if "parlen-guest" in line]
            self.assertEqual([], said)

    def test_the_property_list_starts_the_script(self):
        with open(KIT / "local.parlen-guest.plist", "rb") as file:
            job = plistlib.load(file)
        self.assertEqual("local.parlen-guest", job["Label"])
        self.assertEqual(["/usr/local/bin/parlen-guest"], job["ProgramArguments"])
        self.assertTrue(job["RunAtLoad"])
        self.assertEqual({"SuccessfulExit": False}, job["KeepAlive"])

    def test_the_readme_shows_what_the_guest_writes(self):
        text = (KIT / "README.md").read_text()
        lines = [block for block in re.findall(r"```json\n(.*?)```", text, re.S) if "addresses" in block]
        self.assertEqual(1, len(lines))
        self.assertRegex(lines[0], "^" + UP.pattern + "$")


if __name__ == "__main__":
    unittest.main()
