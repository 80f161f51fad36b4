"""A real guest in a real window: typed keys reach the guest, and a user's clicks reach the parent."""

import asyncio
import json
import os
import pathlib
import string
import subprocess
import sys
import tempfile
import unittest
from unittest import mock

from desktop import Display, Tool, until, within
from window_parts import BAR_TITLE, gone, press_close, press_done, press_later, shown

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path += [str(ROOT / "guest-kit"), str(ROOT / "examples")]
import parent  # noqa: E402
from guest_folder import GuestFolder  # noqa: E402

PROGRAM = os.environ["PARLEN_PROGRAM"]
IMAGE = os.environ.get("PARLEN_GUEST_IMAGE", os.environ.get("PARLEN_DEFAULT_GUEST_IMAGE", ""))
# In seconds; a busy machine emulates the start of a guest slowly.
BOOT_TIMEOUT = int(os.environ.get("PARLEN_BOOT_TIMEOUT", "180"))
GAP = 100  # ms between two strokes, enough for a guest whose processor is emulated
TRIES = 3  # a user types again if the window was not connected to the guest yet, which emulation delays
PRINTABLE = "".join(chr(code) for code in range(ord(" "), ord("~") + 1))


@unittest.skipUnless(os.path.exists(IMAGE), f"scripts/make-guest-image makes '{IMAGE}'")
class GuestTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.logs = self.folder / "logs"
        self.logs.mkdir()
        self.console = self.folder / "console"
        self.bundle = self.folder / "guest"
        subprocess.run([PROGRAM, "create", "--ipsw", IMAGE, "--bundle", self.bundle,
                        "--disk-gb", "1"], check=True, capture_output=True)
        self.display = Display("1440x900")
        self.display.__enter__()
        self.addCleanup(self.display.stop)

    def environment(self):
        return self.display.environment() | {"PARLEN_CONSOLE": str(self.console)}

    def booted(self, *options):
        tool = Tool(PROGRAM, "run", "--bundle", self.bundle, "--logs-share", self.logs, *options,
                    environment=self.environment())
        self.addCleanup(tool.close)
        tool.wait_for(state="running")
        until(GuestFolder(self.logs).up, f"the start of the guest; {tool.log()}", BOOT_TIMEOUT)
        return tool

    def is_written(self, name):
        path = self.logs / name
        return path.exists() and path.read_bytes().endswith(b"\n")

    def written(self, name):
        """The text of a file that the guest writes, once it ends with a line feed."""
        until(lambda: self.is_written(name), f"the guest's {name}")
        return (self.logs / name).read_text(encoding="ascii")

    async def type_into_a_guest(self):
        """With the parent of examples/. Returns how the run ended."""
        async with parent.Guest(str(self.bundle), gui=True, logs_share=str(self.logs),
                                note=lambda line: None) as guest:
            await guest.running()
            await asyncio.to_thread(until, GuestFolder(self.logs).up, "the start of the guest", BOOT_TIMEOUT)
            await guest.type("cat > /logs/typed <<'END'\n" + PRINTABLE + "\nEND\n", GAP)
            self.assertEqual(PRINTABLE + "\n", await asyncio.to_thread(self.written, "typed"))

            # The shell is alive again only if the chord has ended what it waits for.
            await guest.type("sleep 100000\n", GAP)
            await guest.press("ctrl+c")
            await guest.type("echo $? > /logs/status\n", GAP)
            self.assertEqual("130\n", await asyncio.to_thread(self.written, "status"))

            # A pause loses nothing: the shell goes on where it was.
            await guest.pause()
            await guest.resume()

            # Keys without a character: back to the start of the line, and over a typing error.
            await guest.type("cho edited > /logs/edited", GAP)
            await guest.press("home")
            await guest.type("ex", GAP)
            for chord in ("delete", "end", "return"):
                await guest.press(chord)
            self.assertEqual("edited\n", await asyncio.to_thread(self.written, "edited"))
            return await guest.stop()

    def test_guest_receives_all_characters_and_chords(self):
        with mock.patch.object(parent, "TOOL", PROGRAM), mock.patch.dict(os.environ, self.environment(), clear=True):
            end = asyncio.run(self.type_into_a_guest())
        self.assertEqual((0, False), (end.status, end.crashed), end)
        self.assertRegex(end.reason, "^guest stopped after host stop request")
        # The shell on the guest's first serial port, whatever its kernel calls that.
        self.assertIn("guest# ", self.console.read_text(errors="replace"))

    def test_a_console_that_cannot_be_opened_is_an_error(self):
        path = str(self.folder / "none" / "console")
        tool = subprocess.run([PROGRAM, "status", "--bundle", self.bundle], capture_output=True,
                              env=os.environ | {"PARLEN_CONSOLE": path}, text=True)
        self.assertEqual(1, tool.returncode)
        error = json.loads(tool.stdout)
        self.assertEqual("bad-usage", error["code"])
        self.assertEqual(f"unusable console {path}: could not create the file {path}: "
                         "No such file or directory", error["message"])

    def test_headless_guest_is_shown_and_clicks_are_sent(self):
        tool = self.booted()
        self.assertIsNone(self.display.window(BAR_TITLE))
        words = string.ascii_lowercase + " "
        tool.send(type="window", show=True, title=words * 20, detail=words * 40)
        window = shown(self.display)

        # A user types: X key events. Return goes to the guest and presses no button.
        self.display.mouse(window.x + window.width // 2, window.y + window.height // 2)
        for _ in range(TRIES):
            self.display.run("xdotool", "type", "--delay", str(GAP), "echo by hand > /logs/hand")
            self.display.key("Return")
            if within(20, lambda: self.is_written("hand")):
                break
        self.assertEqual("by hand\n", self.written("hand"))
        self.assertTrue(tool.quiet(), tool.log())

        for press, action in ((press_later, "later"), (press_done, "done")):
            press(self.display, window)
            self.assertEqual({"type": "window-action", "action": action}, tool.next_event())
        press_close(self.display, window)
        self.assertEqual({"type": "window-action", "action": "later"}, tool.next_event())
        gone(self.display)

        tool.send(type="window", show=True, title="Again", detail="Once more")
        self.assertEqual(window, shown(self.display))
        tool.send(type="window", show=False)
        gone(self.display)
        tool.send(type="window", show=True, title="And again")
        shown(self.display)
        self.assert_kit_answers(GuestFolder(self.logs))
        tool.send(type="stop")
        self.assertEqual(0, tool.end(), tool.log())
        self.assertFalse(tool.events[-1]["crashed"])
        self.assertIsNone(GuestFolder(self.logs).up())

    def assert_kit_answers(self, guest):
        up = guest.up()
        self.assertEqual(("parlen-guest", 1), (up["host"], up["boot"]))
        guest.submit("printf 'a\\000\\377'; echo b >&2; exit 3")
        result = until(guest.result, "the end of the guest's script", BOOT_TIMEOUT)
        self.assertEqual((3, b"a\0\xffb\n"), result)


if __name__ == "__main__":
    unittest.main(verbosity=2)
