"""The tool's windows on a real X display, with the simulated machine's test picture in them."""

import json
import os
import pathlib
import shutil
import signal
import subprocess
import tempfile
import unittest

from desktop import TIMEOUT, BreakingDisplay, Display, SilentDisplay, Tool, until
from window_parts import (BAR_TITLE, BORDER, done_button, gone, press_close, press_done,
                          press_later, shown, test_picture)

PROGRAM = os.environ["PARLEN_PROGRAM"]
LONG = "a text that is far too long for any window " * 40


class WindowTest(unittest.TestCase):
    size = "1024x768"

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.display = Display(self.size)
        self.display.__enter__()
        self.addCleanup(self.display.stop)
        self.environment = self.display.environment() | {
            "PARLEN_HOST": "simulated", "PARLEN_WINDOWS": "native"}
        image = self.folder / "image"
        image.write_text('{"simulatedRestoreImage":1,"hardwareModel":"sim-1"}')
        self.bundle = self.folder / "vm1"
        subprocess.run([PROGRAM, "create", "--ipsw", image, "--bundle", self.bundle,
                        "--disk-gb", "1"], env=self.environment, check=True, capture_output=True)

    def run_tool(self, *options, program=PROGRAM, environment=None):
        tool = Tool(program, "run", "--bundle", self.bundle, *options,
                    environment=environment or self.environment)
        self.addCleanup(tool.close)
        return tool

    def running(self, *options, **more):
        tool = self.run_tool(*options, **more)
        tool.wait_for(state="running")
        return tool

    def expect_action(self, tool, action):
        self.assertEqual({"type": "window-action", "action": action}, tool.next_event())

    def stop(self, tool):
        tool.process.send_signal(signal.SIGTERM)
        self.assertEqual(0, tool.end(), tool.log())

    def expected_content(self, chrome):
        width, height = self.size.split("x")
        line = subprocess.run([PROGRAM, "window-size-check", "--visible", f"0,0,{width},{height}",
                               "--chrome", str(chrome)], check=True, capture_output=True).stdout
        return json.loads(line)["content"]

    def expect_placed(self, window):
        """The content is where the placement puts it, and the picture fills it undistorted."""
        picture = test_picture(self.display, window)
        bottom = window.y + window.height - BORDER
        chrome = picture.y - window.y - BORDER
        content = self.expected_content(chrome)
        # Whole pixels match the guest's aspect ratio to within one.
        self.assertAlmostEqual(content["x"], picture.x, delta=1)
        self.assertAlmostEqual(content["width"], picture.width, delta=1)
        self.assertAlmostEqual(content["height"], picture.height, delta=1)
        self.assertEqual(int(self.size.split("x")[1]) - content["y"], bottom)
        self.assertAlmostEqual(1920 / 1200, picture.width / picture.height, places=2)

    def test_buttons_tell_the_parent_and_leave_the_window(self):
        tool = self.running()
        tool.send(type="window", show=True, title="Sign in", detail="Then press Done")
        window = shown(self.display)
        self.expect_placed(window)

        press_later(self.display, window)
        self.expect_action(tool, "later")
        press_done(self.display, window)
        self.expect_action(tool, "done")
        press_done(self.display, window)
        self.expect_action(tool, "done")

        self.assertEqual(window, self.display.window(BAR_TITLE))
        self.stop(tool)

    def test_close_button_hides_and_the_window_comes_back(self):
        tool = self.running()
        tool.send(type="window", show=True, title="First")
        window = shown(self.display)
        press_close(self.display, window)
        self.expect_action(tool, "later")
        gone(self.display)

        tool.send(type="window", show=True, title="Second")
        self.assertEqual(window, shown(self.display))
        self.expect_placed(window)
        tool.send(type="window", show=False)
        gone(self.display)
        tool.send(type="window", show=True, title="Third")
        self.assertEqual(window, shown(self.display))
        self.stop(tool)

    def test_long_texts_are_cut_off_without_moving_anything(self):
        tool = self.running()
        tool.send(type="window", show=True, title="Short", detail="Short")
        window = shown(self.display)
        before = done_button(self.display, window)

        for title, detail in ((LONG, "a\n\0" + LONG), ("\u2603 " + LONG * 100, LONG)):
            last = self.display.picture().raw
            tool.send(type="window", show=True, title=title, detail=detail)
            until(lambda last=last: self.display.picture().raw != last, "the text on the screen")
            self.assertEqual(before, done_button(self.display, window))
        test_picture(self.display, window)
        self.assertEqual(window, self.display.window(BAR_TITLE))
        self.stop(tool)

    def test_no_key_presses_a_button(self):
        tool = self.running()
        tool.send(type="window", show=True, title="Keys")
        window = shown(self.display)
        test_picture(self.display, window)
        before = self.display.picture().raw
        for key in ("Tab", "Return", "space", "KP_Enter", "Escape", "alt+d", "alt+l"):
            self.display.key(key)
        until(lambda: self.display.picture().raw != before, "the picture naming a key")

        press_done(self.display, window)  # the event of a pressed key would come before this one
        self.expect_action(tool, "done")
        self.stop(tool)

    def test_gui_window_takes_the_parents_keys(self):
        tool = self.running("--gui")
        title = "Parlen VM — vm1"
        window = shown(self.display, title)
        self.expect_placed(window)
        before = self.display.picture().raw

        tool.send(type="text", text="a")
        tool.wait_for(type="input-done")
        until(lambda: self.display.picture().raw != before, "the picture naming a key")
        press_close(self.display, window)
        gone(self.display, title)
        tool.send(type="key", key="return")
        tool.wait_for(type="input-done")

        self.assertTrue(all("firstResponder=" in line for line in tool.errors), tool.log())
        self.stop(tool)

    def test_without_a_display_a_gui_run_fails_to_start(self):
        environment = dict(self.environment)
        del environment["DISPLAY"]
        tool = self.run_tool("--gui", environment=environment)
        self.assertEqual(1, tool.end())
        what = "there is no display: neither DISPLAY nor WAYLAND_DISPLAY is set"
        self.assertEqual([{"type": "ready", "proto": 1},
                          {"type": "error", "code": "boot-failed", "message": what}],
                         tool.events[:2])

    def test_display_that_does_not_answer_is_named(self):
        tool = self.run_tool("--gui", environment=self.environment | {"DISPLAY": ":4242"})
        self.assertEqual(1, tool.end())
        self.assertEqual("cannot open the display ':4242'", tool.events[1]["message"])

    def silent_display(self):
        display = SilentDisplay(self.folder)
        self.addCleanup(display.close)
        return display

    def expect_stopped_by_signal(self, tool, server):
        connection, _ = server.accept()  # the tool waits for an answer now
        self.addCleanup(connection.close)
        self.stop(tool)
        self.assertEqual({"type": "state", "state": "stopped", "crashed": False,
                          "reason": "host requested stop"}, tool.events[-1])

    def test_signal_ends_a_run_whose_x_display_is_silent(self):
        display = self.silent_display()
        tool = self.run_tool("--gui", environment=self.environment | {"DISPLAY": display.x_name})
        self.expect_stopped_by_signal(tool, display.x)
        self.assertEqual(["ready", "state"], [event["type"] for event in tool.events])

    def test_signal_ends_a_run_whose_wayland_display_is_silent(self):
        display = self.silent_display()
        environment = self.environment | {"WAYLAND_DISPLAY": display.wayland_name}
        del environment["DISPLAY"]
        tool = self.run_tool("--gui", environment=environment)
        self.expect_stopped_by_signal(tool, display.wayland)

    def test_signal_ends_a_headless_run_that_waits_for_its_display(self):
        display = self.silent_display()
        tool = self.running(environment=self.environment | {"DISPLAY": display.x_name})
        tool.send(type="window", show=True)
        self.expect_stopped_by_signal(tool, display.x)

    def test_silent_display_is_named_and_asked_only_once(self):
        display = self.silent_display()
        tool = self.running(environment=self.environment | {"DISPLAY": display.x_name})
        for _ in range(3):
            tool.send(type="window", show=True)
        tool.send(type="pause")
        tool.wait_for(type="guest-power", state="paused")
        connection, _ = display.x.accept()
        connection.close()
        display.x.setblocking(False)
        with self.assertRaises(BlockingIOError):
            display.x.accept()
        self.stop(tool)
        self.assertEqual(["parlen-mac-vm: cannot show the guest: the display "
                          f"'{display.x_name}' does not answer"] * 3, tool.errors)

    def test_without_the_module_a_window_command_is_a_warning(self):
        program = self.folder / "parlen-mac-vm"
        shutil.copy(PROGRAM, program)
        tool = self.running(program=program)
        tool.send(type="window", show=True)
        line = until(lambda: tool.errors, "the warning")[0]
        self.assertTrue(line.startswith(
            "parlen-mac-vm: cannot show the guest: the window module is missing: "
            f"it is neither at {program}-gtk.so nor at "), line)
        self.stop(tool)
        self.assertEqual(1, len(tool.errors))

    def test_libraries_that_print_do_not_reach_the_events(self):
        loud = self.environment | {"G_MESSAGES_DEBUG": "all", "GTK_DEBUG": "misc,plugsocket",
                                   "GDK_DEBUG": "misc,events"}
        tool = self.running(environment=loud)
        tool.send(type="window", show=True, title="Loud")
        window = shown(self.display)
        press_done(self.display, window)
        self.expect_action(tool, "done")
        self.stop(tool)

    def expect_ended_by_broken_pipe(self, *options, display, warning):
        """The pipe of the events is closed after this warning."""
        process = subprocess.Popen([PROGRAM, "run", "--bundle", self.bundle, *options],
                                   env=self.environment | {"DISPLAY": display},
                                   stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE)
        for cleanup in (process.stdin.close, process.stderr.close, process.wait, process.kill):
            self.addCleanup(cleanup)
        process.stdin.write(b'{"type":"window","show":true}\n')
        process.stdin.flush()
        while warning not in process.stderr.readline():
            pass

        process.stdout.close()
        process.stdin.write(b'{"type":"resume"}\n')
        process.stdin.flush()

        self.assertEqual(-signal.SIGPIPE, process.wait(timeout=TIMEOUT))

    def test_run_with_a_window_ends_when_nobody_reads(self):
        # It has its window by the time it refuses another.
        self.expect_ended_by_broken_pipe("--gui", display=self.display.name,
                                         warning=b"ignoring window")

    def test_run_without_its_window_ends_when_nobody_reads(self):
        self.expect_ended_by_broken_pipe(display=":4242", warning=b"cannot show the guest")

    def test_run_outlives_its_display(self):
        tool = self.running()
        tool.send(type="window", show=True, title="Still here")
        shown(self.display)
        self.display.stop()
        until(lambda: any("the display is gone" in line for line in tool.errors), "the warning")
        tool.send(type="window", show=False)
        tool.send(type="window", show=True)
        until(lambda: sum("the display is gone" in line for line in tool.errors) == 2, "a second")
        tool.send(type="pause")
        tool.wait_for(type="guest-power", state="paused")
        self.stop(tool)


    def end_on_breaking_display(self, limit, *options):
        """What the run says of its display, which breaks: it ends, or it goes on."""
        name = BreakingDisplay(self.display, limit).name
        tool = self.run_tool(*options, environment=self.environment | {"DISPLAY": name})
        if not options:
            tool.send(type="window", show=True, title="Going to break")
        said = ("the display is gone", f"cannot open the display '{name}'")
        until(lambda: tool.process.poll() is not None or any(said[0] in line or said[1] in line
                                                             for line in tool.errors), "the end")
        if tool.process.poll() is None:
            self.stop(tool)
            self.assertEqual("host requested stop", tool.events[-1]["reason"], tool.log())
            return "goes on"
        self.assertEqual(1, tool.end(), tool.log())
        self.assertEqual([said[1], said[1]], [tool.events[-2].get("message"),
                                              tool.events[-1].get("reason")], tool.log())
        return "ends"

    # From the first request to what a window takes; what it sends later depends on the time.
    BREAKS = (*range(100, 7000, 500), *range(7000, 40000, 5000))

    def test_gui_run_ends_or_goes_on_when_its_display_breaks(self):
        ends = {self.end_on_breaking_display(limit, "--gui") for limit in self.BREAKS}
        self.assertEqual({"ends", "goes on"}, ends)

    def test_headless_run_goes_on_when_its_display_breaks(self):
        ends = {self.end_on_breaking_display(limit) for limit in self.BREAKS}
        self.assertEqual({"goes on"}, ends)

    def test_window_loads_no_opengl(self):
        tool = self.running()
        tool.send(type="window", show=True, title="Plain")
        shown(self.display)
        loaded = pathlib.Path(f"/proc/{tool.process.pid}/maps").read_text()
        self.assertIn("libgtk-3", loaded)
        self.assertNotIn("libGL.so", loaded)
        self.stop(tool)


class LargeScreenTest(WindowTest):
    size = "2560x1440"


class ContractTest(unittest.TestCase):
    """What every host's windows do, with windows of GTK's."""

    def test_holds(self):
        with Display("1024x768") as display:
            # GTK's libraries never free what they keep for the whole process.
            environment = display.environment() | {"ASAN_OPTIONS": "detect_leaks=0"}
            run = subprocess.run(
                [os.environ["PARLEN_CONTRACT_TEST"], "--gtest_filter=*WindowContract*/Qemu"],
                env=environment, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        self.assertEqual(0, run.returncode, run.stdout)
        self.assertIn("[       OK ]", run.stdout)
        self.assertNotIn("[  SKIPPED ]", run.stdout)


if __name__ == "__main__":
    unittest.main(verbosity=2)
