"""A real guest in a real window: what is typed arrives, and what a user does is heard."""

import os
import pathlib
import signal
import string
import subprocess
import tempfile
import unittest

from desktop import Display, Tool, until
from hands import BAR_TITLE, gone, press_close, press_done, press_later, shown

PROGRAM = os.environ["PARLEN_PROGRAM"]
IMAGE = os.environ.get("PARLEN_GUEST_IMAGE", os.environ.get("PARLEN_USUAL_GUEST_IMAGE", ""))
BOOT = 180  # seconds that a busy machine may take to emulate the start of a guest
GAP = 100   # ms between two strokes, for a guest whose processor is emulated
PRINTABLE = "".join(chr(code) for code in range(ord(" "), ord("~") + 1))


@unittest.skipUnless(os.path.exists(IMAGE), f"scripts/make-guest-image makes '{IMAGE}'")
class GuestTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.logs = self.folder / "logs"
        self.logs.mkdir()
        self.bundle = self.folder / "guest"
        subprocess.run([PROGRAM, "create", "--ipsw", IMAGE, "--bundle", self.bundle,
                        "--disk-gb", "1"], check=True, capture_output=True)
        self.display = Display("1440x900")
        self.display.__enter__()
        self.addCleanup(self.display.stop)

    def booted(self, *options):
        tool = Tool(PROGRAM, "run", "--bundle", self.bundle, "--logs-share", self.logs, *options,
                    environment=self.display.environment())
        self.addCleanup(tool.close)
        tool.wait_for(state="running")
        until((self.logs / "booted").exists, f"the start of the guest; {tool.story()}", BOOT)
        return tool

    def type_in(self, tool, text):
        tool.send(type="text", text=text, delayMs=GAP)
        tool.wait_for(type="input-done", input="text", patience=600)

    def press(self, tool, chord):
        tool.send(type="key", key=chord)
        tool.wait_for(type="input-done", input="key")

    def written(self, name):
        """A file that the guest writes, once it ends with a line feed."""
        path = self.logs / name
        until(lambda: path.exists() and path.read_bytes().endswith(b"\n"), f"the guest's {name}")
        return path.read_text(encoding="ascii")

    def stop(self, tool):
        tool.process.send_signal(signal.SIGTERM)
        self.assertEqual(0, tool.end(), tool.story())

    def test_guest_receives_every_printable_character_and_chords(self):
        tool = self.booted("--gui")
        self.type_in(tool, "cat > /logs/typed <<'END'\n" + PRINTABLE + "\nEND\n")
        self.assertEqual(PRINTABLE + "\n", self.written("typed"))

        # The shell is alive again only if the chord has ended what it waits for.
        self.type_in(tool, "sleep 100000\n")
        self.press(tool, "ctrl+c")
        self.type_in(tool, "echo $? > /logs/status\n")
        self.assertEqual("130\n", self.written("status"))

        # Keys without a character: back to the start of the line, and over a typing error.
        self.type_in(tool, "cho edited > /logs/edited")
        self.press(tool, "home")
        self.type_in(tool, "ex")
        self.press(tool, "delete")
        self.press(tool, "end")
        self.press(tool, "return")
        self.assertEqual("edited\n", self.written("edited"))
        self.stop(tool)

    def test_headless_guest_is_shown_and_its_user_is_heard(self):
        tool = self.booted()
        self.assertIsNone(self.display.window(BAR_TITLE))
        words = string.ascii_lowercase + " "
        tool.send(type="window", show=True, title=words * 20, detail=words * 40)
        window = shown(self.display)

        # The user types, with the keyboard's own events; Return is the guest's and no button's.
        self.display.mouse(window.x + window.width // 2, window.y + window.height // 2)
        self.display.run("xdotool", "type", "--delay", str(GAP), "echo by hand > /logs/hand")
        self.display.key("Return")
        self.assertEqual("by hand\n", self.written("hand"))
        self.assertTrue(tool.quiet(), tool.story())

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
        tool.send(type="stop")
        self.assertEqual(0, tool.end(), tool.story())
        self.assertFalse(tool.events[-1]["crashed"])


if __name__ == "__main__":
    unittest.main(verbosity=2)
