"""A disk image of the shape that distributions publish for clouds: it is installed from each of its
formats, boots unchanged on a disk that is larger, and somebody logs in by typing and powers it off.

PARLEN_CLOUD_IMAGES: the folder that scripts/make-cloud-image has written."""

import os
import pathlib
import re
import subprocess
import tempfile
import time
import unittest

from desktop import Display, Tool, until, within

PROGRAM = os.environ["PARLEN_PROGRAM"]
IMAGES = pathlib.Path(os.environ.get("PARLEN_CLOUD_IMAGES", "none"))
BOOT_TIMEOUT = int(os.environ.get("PARLEN_BOOT_TIMEOUT", "300"))  # seconds
TRIES = 4  # to log in: on a busy machine a key may be missed


@unittest.skipUnless(IMAGES.is_dir(), f"scripts/make-cloud-image makes '{IMAGES}'")
class CloudTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def create(self, name):
        bundle = self.folder / name
        subprocess.run([PROGRAM, "create", "--ipsw", IMAGES / name, "--bundle", bundle,
                        "--disk-gb", "1"], check=True, capture_output=True)
        return bundle

    def type_in(self, tool, text, gap):
        tool.send(type="text", text=text, delayMs=gap)
        tool.wait_for(type="input-done", input="text", timeout=600)

    def ask_who(self, tool, gap, pause):
        """Logs in and has the guest write who it is and how large its disk is."""
        self.type_in(tool, "root\n", gap)
        time.sleep(pause)
        self.type_in(tool, "cloud\n", gap)
        time.sleep(pause)
        self.type_in(tool, "mount -t 9p -o trans=virtio parlen-logs /mnt\n", gap)
        self.type_in(tool, "id -un > /mnt/who; cat /sys/block/vda/size >> /mnt/who; umount /mnt\n", gap)

    def test_all_formats_install_the_same_disk(self):
        raw = (IMAGES / "cloud.raw").read_bytes()
        for name in ("cloud.raw", "cloud.qcow2", "cloud-compressed.qcow2"):
            with self.subTest(name):
                disk = self.create(name) / "Disk.img"
                self.assertEqual(1 << 30, disk.stat().st_size)
                with disk.open("rb") as file:
                    self.assertEqual(raw, file.read(len(raw)))

    def test_it_boots_and_is_logged_in_to_by_typing(self):
        bundle = self.create("cloud-compressed.qcow2")
        logs = self.folder / "logs"
        console = self.folder / "console"
        display = self.enterContext(Display("1440x900"))
        tool = Tool(PROGRAM, "run", "--gui", "--bundle", bundle, "--logs-share", logs,
                    environment=display.environment() | {"PARLEN_CONSOLE": str(console)})
        self.addCleanup(tool.close)
        tool.wait_for(state="running")
        begin = time.monotonic()
        # The login on the serial line comes up with the one on the screen.
        until(lambda: re.search(rb"cloud login:", console.read_bytes()), "the login", BOOT_TIMEOUT)
        boot = time.monotonic() - begin
        # An emulated guest that waits for its processor misses keys, and what is typed before a question
        # is asked, which only the screen shows. Both take a fraction of what the boot took.
        gap = min(1000, max(100, round(boot * 2)))  # ms
        pause = boot / 20
        written = logs / "who"
        for _ in range(TRIES):
            self.ask_who(tool, gap, pause)
            if within(boot, lambda: written.exists() and written.read_bytes().count(b"\n") == 2):
                break
            # Back to the login, wherever a missed key has led.
            tool.send(type="key", key="ctrl+d")
            tool.wait_for(type="input-done", input="key", timeout=600)
            time.sleep(pause)
        else:
            self.fail(f"the guest did not write its file; {tool.log()}")
        # The guest sees the whole disk, in sectors.
        self.assertEqual(["root", str((1 << 30) // 512)], written.read_text().split())

        # The guest may be gone before its last key is up, and that text has no answer then.
        tool.send(type="text", text="poweroff -f\n", delayMs=gap)
        self.assertEqual(0, tool.end(), tool.log())
        self.assertFalse(tool.events[-1]["crashed"])
        self.assertIn("guest stopped", tool.events[-1]["reason"])


if __name__ == "__main__":
    unittest.main(verbosity=2)
