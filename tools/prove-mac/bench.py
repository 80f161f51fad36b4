"""What the stages work with: the tree, the program, what the caller gave, and scratch space."""

import contextlib
import os
import shutil
import tempfile
import threading

import processes
from outcomes import NotTried, Refuted


class Bench:
    """`source` is the tree, `folder` the scratch folder, `ipsw` and `bundle` what the caller gave
    (or None). `longest`: no limit is longer than this many seconds. `settle`: for so many seconds a
    guest has to run before it counts as booted. `ask(question)` returns True, False or None for no
    answer; None in its place asks nothing. `free(folder)` is how many bytes are free on a volume."""

    def __init__(self, source, folder, ipsw=None, bundle=None, gui=False, ask=None,
                 longest=None, settle=60.0, environment=None,
                 free=lambda folder: shutil.disk_usage(folder).free):
        self.source, self.folder = source, folder
        self.ipsw, self.bundle, self.gui, self.ask = ipsw, bundle, gui, ask
        self.longest, self.settle, self.free = longest, settle, free
        self.environment = dict(os.environ if environment is None else environment)
        self.prefix = os.path.join(folder, "installed")
        self.program = os.path.join(self.prefix, "bin", "parlen-mac-vm")
        self.build = os.path.join(source, "build", "dev")
        self.known = {}  # what one stage has found out and another one uses
        self.tools = []

    def limit(self, seconds):
        return seconds if self.longest is None else min(seconds, self.longest)

    def path(self, name):
        return os.path.join(self.folder, name)

    def new_path(self, prefix):
        """Of nothing that exists yet."""
        return os.path.join(tempfile.mkdtemp(prefix=prefix + "-", dir=self.folder), "guest")

    def write(self, name, content):
        with open(self.path(name), "w", encoding="utf-8") as file:
            file.write(content)
        return self.path(name)

    def run(self, arguments, seconds, more=None, folder=None):
        return processes.run(
            arguments, self.limit(seconds), dict(self.environment, **(more or {})), folder
        )

    def sudo(self, *arguments):
        """As root, without asking. What 'sudo -v' has noted holds for its terminal and session only
        (sudoers(5), timestamp_type), so sudo is started in this process's own."""
        command = ["sudo", "-n", *arguments]
        return processes.run(command, self.limit(30), self.environment, own_session=False)

    @contextlib.contextmanager
    def root(self, period=60.0):
        """Keeps sudo from forgetting this terminal within the block, if it knows it at its beginning:
        asks anew each `period` seconds, until sudo refuses. Without 'sudo -v' before it does nothing."""
        over = threading.Event()

        def keep():
            try:
                while self.has_root() and not over.wait(period):
                    pass
            except Refuted:  # there is no sudo, or it hangs
                pass

        keeper = threading.Thread(target=keep, daemon=True)
        keeper.start()
        try:
            yield
        finally:
            over.set()
            keeper.join()

    def has_root(self):
        """Whether sudo works without asking; if so, its minutes begin anew."""
        return self.sudo("-v")[0] == 0

    def tool(self, *arguments, seconds=20.0, more=None, **streams):
        """Starts the program; end_all() ends it."""
        self.need_program()
        tool = processes.Tool(
            [self.program, *arguments],
            self.limit(seconds),
            dict(self.environment, **(more or {})),
            **streams,
        )
        self.tools.append(tool)
        return tool

    def need_program(self):
        if not os.access(self.program, os.X_OK):
            raise NotTried("there is no program: it was not built or not installed")

    def end_all(self):
        for tool in self.tools:
            tool.end()
        self.tools.clear()
