"""scripts/prove-mac without a Mac: each of its assumptions is refuted by a fake that breaks it and
proved by one that does not; and the stages that can run here are proved by the program itself.

PARLEN_PROGRAM is the program, PARLEN_SOURCE the tree."""

import concurrent.futures
import contextlib
import glob
import io
import json
import os
import select
import shutil
import subprocess
import sys
import tempfile
import threading
import time
import unittest
from unittest import mock

SOURCE = os.environ["PARLEN_SOURCE"]
FAKE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "fake_mac.py")
COMMANDS = ("cmake", "codesign", "otool", "ctest", "sudo")
HOST = os.environ.get("PARLEN_PROGRAM_HOST", "simulated")
sys.path.insert(0, os.path.join(SOURCE, "tools", "prove-mac"))

import daemon  # noqa: E402
import eyes  # noqa: E402
import guests  # noqa: E402
import proving  # noqa: E402
import report  # noqa: E402
import streams  # noqa: E402
from bench import Bench  # noqa: E402
from outcomes import Assumption, NotTried, Refuted, try_out  # noqa: E402
from processes import Hung  # noqa: E402

ALL = [assumption for _, stage in proving.STAGES for assumption in stage]
EYES = [assumption for assumption in ALL if assumption.id.startswith("eyes.")]
SHORT = 1.0  # seconds; what a hanging fake costs
# Of what must not fail because the machine is slow.
NO_LIMIT = 500.0  # seconds


def named(name):
    return next(assumption for assumption in ALL if assumption.id == name)


def setUpModule():
    """The fakes are started by this interpreter, without what it does not need to start with."""
    global FAKE
    folder = tempfile.mkdtemp(prefix="prove-mac-fake-")
    unittest.addModuleCleanup(shutil.rmtree, folder)
    source = os.path.join(os.path.dirname(os.path.abspath(__file__)), "fake_mac.py")
    FAKE = os.path.join(folder, "fake_mac.py")
    with open(source, encoding="utf-8") as original, open(FAKE, "w", encoding="utf-8") as fake:
        fake.write(f"#!{sys.executable} -IS\n" + original.read())
    os.chmod(FAKE, 0o755)


def free(folder):
    """The free bytes of a made-up volume: no other program writes to it."""
    clones = glob.glob(os.path.join(folder, "*", "guest", "copied"))
    return (1 << 50) - (1 << 30) * len(clones)


class Mac:
    """A folder that looks like a tree on a Mac, with the fakes first in the search path."""

    def __init__(self, lie="", **options):
        self.folder = tempfile.mkdtemp(prefix="prove-mac-")
        commands = self.make("commands")
        for name in COMMANDS:
            os.symlink(FAKE, os.path.join(commands, name))
        self.fake("build/dev/tests/macos", "window_check")
        self.fake("build/dev/tests/contract", "contract_test")
        self.fake("try/installed/bin", "parlen-mac-vm")
        self.write("build/dev/CTestTestfile.cmake", "")
        image = self.write("image.ipsw", "an image\n")
        environment = dict(
            os.environ,
            PATH=commands + os.pathsep + os.environ["PATH"],
            FAKE_FOLDER=self.folder,
            FAKE_LIE=lie,
            FAKE_SESSION=str(os.getsid(0)),
        )
        settings = dict(ipsw=image, gui=True, ask=lambda question: True, settle=0.1, free=free)
        settings.update(environment=environment)
        settings.update(options)
        self.bench = Bench(self.folder, os.path.join(self.folder, "try"), **settings)
        if self.bench.longest is None:
            self.bench.limit = lambda seconds: NO_LIMIT

    def make(self, name):
        path = os.path.join(self.folder, name)
        os.makedirs(path, exist_ok=True)
        return path

    def fake(self, folder, name):
        os.symlink(FAKE, os.path.join(self.make(folder), name))

    def write(self, name, text):
        path = os.path.join(self.folder, name)
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)
        return path

    def install_guests(self):
        """What the first stages would leave: the caller's guest, its clone and a simulated one."""
        for name in ("first", "cloned", "simulated-guest"):
            with open(os.path.join(self.make("try/" + name), "Disk.img"), "wb") as disk:
                disk.truncate(1 << 30)
        self.bench.bundle = self.bench.path("first")
        self.bench.known["guest"] = self.bench.path("cloned")

    def close(self):
        self.bench.end_all()
        shutil.rmtree(self.folder)


def lied_to(assumption):
    """What the assumption's attempt says when a fake breaks it."""
    options = {} if assumption in EYES else {"longest": SHORT}
    mac = Mac(lie=assumption.id, ask=lambda question: False, **options)
    try:
        mac.install_guests()
        if assumption.id == "build.install":
            os.unlink(mac.bench.program)
        return try_out(assumption, mac.bench)
    finally:
        mac.close()


class AssumptionsTest(unittest.TestCase):
    def test_have_names_sentences_and_files(self):
        self.assertEqual(len({assumption.id for assumption in ALL}), len(ALL))
        for assumption in ALL:
            self.assertTrue(assumption.sentence and assumption.file, assumption.id)
            for word in assumption.file.replace(",", "").split():
                if word.startswith(("src/", "cmake/", "tools/")):
                    self.assertTrue(os.path.exists(os.path.join(SOURCE, word)), word)

    def test_are_all_proved_by_an_honest_mac(self):
        mac = Mac()
        try:
            results = proving.prove(mac.bench, write=lambda line: None)
        finally:
            mac.close()
        self.assertEqual(len(results), len(ALL))
        self.assertEqual([report.line(one) for one in results if one.outcome != "PROVED"], [])

    def test_are_each_refuted_by_a_lie(self):
        with concurrent.futures.ThreadPoolExecutor(16) as pool:
            results = list(pool.map(lied_to, ALL))
        self.assertEqual([report.line(one) for one in results if one.outcome != "REFUTED"], [])
        for result in results:
            self.assertTrue(result.why, result.assumption.id)
            self.assertIn(result.assumption.file, report.line(result))

    def test_are_not_tried_without_what_they_need(self):
        mac = Mac(ipsw=None, gui=False, ask=None)
        try:
            os.unlink(mac.bench.program)
            os.unlink(os.path.join(mac.bench.build, "CTestTestfile.cmake"))
            mac.bench.environment["FAKE_LIE"] = "build.install"
            results = proving.prove(mac.bench, write=lambda line: None)
        finally:
            mac.close()
        self.assertEqual({one.assumption.id: one.outcome for one in results
                          if one.outcome != "NOT TRIED"},
                         {"build.dev": "PROVED", "build.release": "PROVED",
                          "build.install": "REFUTED"})
        self.assertTrue(all(one.why for one in results if one.outcome == "NOT TRIED"))

    def test_need_a_login_root_and_answers(self):
        for lie, name, why in (
            ("windows.session", "windows.key-down", "nobody is logged in"),
            ("sudo", "daemon.simulated", "it needs root"),
            ("", "eyes.bar", "not answered"),
        ):
            mac = Mac(lie=lie, ask=lambda question: None)
            try:
                mac.install_guests()
                result = try_out(named(name), mac.bench)
            finally:
                mac.close()
            self.assertEqual(result.outcome, "NOT TRIED")
            self.assertIn(why, result.why)


class ProgramTest(unittest.TestCase):
    """The program itself is the honest one, where the simulated host will do."""

    def check(self, stage, **environment):
        mac = Mac()
        try:
            image = mac.write("image", '{"simulatedRestoreImage":1,"hardwareModel":"sim-1"}')
            mac.bench.ipsw, mac.bench.program = image, os.environ["PARLEN_PROGRAM"]
            mac.bench.build = os.environ["PARLEN_BUILD"]
            mac.bench.environment.update(environment, PARLEN_HOST=HOST)
            results = [try_out(assumption, mac.bench) for assumption in stage]
        finally:
            mac.close()
        self.assertEqual([report.line(one) for one in results if one.outcome != "PROVED"], [])

    def test_proves_the_streams_and_the_signals(self):
        self.check(streams.STAGE)

    def test_proves_the_guests(self):
        # What stands for a Mac checks no signature and has room for any number of machines.
        elsewhere = ["guest.bare", "guest.limit", "guest.hard-stopping"]
        elsewhere += ["guest.contract"] * (HOST != "macos")
        self.check([one for one in guests.STAGE if one.id not in elsewhere])

    def test_proves_a_hard_stop_of_a_guest_that_takes_its_time(self):
        with tempfile.NamedTemporaryFile("w", suffix=".json") as scenario:
            scenario.write('{"machine":{"shutdownMs":null}}')
            scenario.flush()
            self.check([named("guest.create"), named("guest.hard-stopping")],
                       PARLEN_SCENARIO=scenario.name)


@unittest.skipUnless(HOST == "macos", "the simulated host stands for no Mac")
class FrameworksTest(ProgramTest):
    """So is the program on what stands for a Mac's frameworks. Of window_check only the beginning is
    tried: then it has a view of its own, and events that AppKit makes."""

    def test_proves_what_eyes_see(self):
        self.check([named("guest.create"), *eyes.STAGE])

    def test_proves_the_daemon(self):
        self.check([named("guest.create"), *daemon.STAGE], PARLEN_SESSION="none")

    def test_measures_the_bar_before_the_window_is_shown(self):
        check = os.path.join(os.environ["PARLEN_BUILD"], "tests", "macos", "window_check")
        with tempfile.TemporaryDirectory(prefix="prove-mac-") as folder:
            trace = os.path.join(folder, "trace.jsonl")
            run = subprocess.run([check], env=dict(os.environ, PARLEN_TRACE=trace),
                                 capture_output=True, text=True, check=False)
            with open(trace, encoding="utf-8") as file:
                calls = [json.loads(line)["call"] for line in file]
        shown = calls.index("window.makeKeyAndOrderFront")
        self.assertIn("window.addTitlebarAccessory", calls[:shown])
        answers = [line.split(":")[0] for line in run.stdout.splitlines()]
        self.assertEqual(answers[:3], ["opens", "chrome", "chrome-with-bar"])


class RootTest(unittest.TestCase):
    """What the caller's 'sudo -v' has given is kept while the command runs, and not longer."""

    def setUp(self):
        self.threads = threading.enumerate()

    def mac(self, lie=""):
        mac = Mac(lie)
        self.addCleanup(mac.close)
        return mac

    def wait(self, condition):
        deadline = time.monotonic() + NO_LIMIT
        while not condition():
            self.assertLess(time.monotonic(), deadline)
            time.sleep(0.01)

    @staticmethod
    def asked(mac):
        path = os.path.join(mac.folder, "sudo-asked")
        return os.path.getsize(path) if os.path.exists(path) else 0

    def test_is_kept_until_the_end(self):
        mac = self.mac()
        with mac.bench.root(period=0.01):
            self.wait(lambda: self.asked(mac) > 2)
        self.assertEqual(threading.enumerate(), self.threads)

    def test_is_not_asked_for_again_when_it_was_refused(self):
        mac = self.mac(lie="sudo")
        with mac.bench.root(period=0.01):
            self.wait(lambda: threading.enumerate() == self.threads)
        self.assertEqual(self.asked(mac), 1)

    def test_is_not_kept_without_sudo(self):
        mac = self.mac()
        os.unlink(os.path.join(mac.folder, "commands", "sudo"))
        mac.bench.environment["PATH"] = os.path.join(mac.folder, "commands")
        with mock.patch.dict(os.environ, mac.bench.environment), mac.bench.root():
            self.wait(lambda: threading.enumerate() == self.threads)
        self.assertEqual(self.asked(mac), 0)

    def test_is_kept_by_the_command(self):
        mac = self.mac()

        def prove(_):
            self.wait(lambda: self.asked(mac) == 1)
            return []

        arguments = ["--report", os.path.join(mac.folder, "report.txt")]
        with mock.patch.dict(os.environ, mac.bench.environment), \
                mock.patch.object(proving, "prove", prove), \
                contextlib.redirect_stdout(io.StringIO()):
            self.assertEqual(proving.main(mac.folder, arguments, system="darwin"), 0)


class HangingTest(unittest.TestCase):
    def setUp(self):
        self.mac = Mac(lie="hang", longest=0.2)
        self.addCleanup(self.mac.close)

    def test_commands_are_ended_at_their_limit(self):
        for name in ("build.dev", "build.signature", "tests.unit", "windows.opens", "streams.pipe"):
            result = try_out(named(name), self.mac.bench)
            self.assertEqual(result.outcome, "REFUTED", name)
            self.assertIn("0.2 s", result.why)

    def test_children_are_ended_too(self):
        fifo = os.path.join(self.mac.folder, "fifo")
        os.mkfifo(fifo)
        reading = os.open(fifo, os.O_RDONLY | os.O_NONBLOCK)
        self.addCleanup(os.close, reading)
        with self.assertRaises(Hung):
            self.mac.bench.run(["/bin/sh", "-c", f"sleep 1000 > {fifo} & wait"], 5)
        select.select([reading], [], [], 10)
        self.assertEqual(os.read(reading, 1), b"", "nobody holds the other end")

    def test_windows_keep_what_was_answered_before(self):
        check = os.path.join(self.mac.bench.build, "tests", "macos", "window_check")
        os.unlink(check)
        self.mac.write(check, "#!/bin/sh\necho opens: yes\nexec sleep 1000\n")
        os.chmod(check, 0o755)
        self.mac.bench.longest = SHORT
        self.assertEqual(try_out(named("windows.opens"), self.mac.bench).outcome, "PROVED")
        self.assertIn("did not end within", try_out(named("windows.close"), self.mac.bench).why)


class CommandTest(unittest.TestCase):
    def test_refuses_another_system_politely(self):
        run = subprocess.run([os.path.join(SOURCE, "scripts", "prove-mac")], capture_output=True,
                             text=True, check=False)
        self.assertEqual((run.returncode, run.stdout), (2, ""))
        self.assertEqual(run.stderr.count("\n"), 1)
        self.assertIn("scripts/test is for here", run.stderr)

    def test_refuses_a_path_with_nothing(self):
        self.assertEqual(proving.main(SOURCE, ["--ipsw", "/none"], system="darwin"), 2)

    def test_reports_without_names(self):
        home = os.path.expanduser("~")

        def refute(_):
            raise Refuted(f"{home}/vms is gone")

        mac = Mac(ipsw=None)
        try:
            results = [try_out(Assumption("a.b", "it holds", "src/a.cpp", refute), mac.bench)]
            path = os.path.join(mac.folder, "report.txt")
            report.write(path, mac.bench, results)
            with open(path, encoding="utf-8") as file:
                text = file.read()
        finally:
            mac.close()
        self.assertIn("REFUTED    a.b", text)
        self.assertIn("change: src/a.cpp", text)
        self.assertIn("~/vms is gone", text)
        self.assertIn(report.PRIVACY, text)
        self.assertTrue(text.endswith("0 PROVED, 1 REFUTED, 0 NOT TRIED\n"))

    def test_says_why_a_thing_was_not_tried(self):
        def skip(_):
            raise NotTried("no time")

        mac = Mac()
        self.addCleanup(mac.close)
        result = try_out(Assumption("a.b", "it holds", "src/a.cpp", skip), mac.bench)
        self.assertTrue(report.line(result).endswith("it holds (no time)"))
        self.assertNotIn("change:", report.line(result))


if __name__ == "__main__":
    unittest.main()
