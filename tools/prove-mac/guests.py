"""Real guests: create, run, every way to stop, two processes, clones, the limit of machines. A bundle
that the caller gave is only read: what runs is a clone of it."""

import os
import shutil
import signal

from outcomes import Assumption, NotTried, Refuted
from streams import HARD, ORDERLY, PAUSE, RESUME, STOP, paused

MACHINE = "src/platform/macos/machine.mm"
FILES = "src/platform/macos/files.mm"
RESTORATION = "src/platform/macos/restoration.mm"
BOOT = 120.0  # seconds from the start to `running`
INSTALLATION = 5400.0
MEBIBYTE = 1 << 20


def need_image(bench):
    bench.need_program()
    if not bench.ipsw:
        raise NotTried("without --ipsw")


def first_guest(bench):
    """The bundle that all others are cloned from."""
    bench.need_program()
    found = bench.bundle or bench.known.get("created")
    if not found:
        raise NotTried("there is no guest: neither --ipsw nor --bundle")
    return found


def create(bench):
    need_image(bench)
    path = bench.new_path("created")
    tool = bench.tool("create", "--ipsw", bench.ipsw, "--bundle", path, "--disk-gb", "64",
                      seconds=INSTALLATION)
    tool.expect(type="progress", fraction=0.0)
    tool.expect(type="state", state="starting")
    tool.expect(type="progress", fraction=1.0)
    tool.expect(type="created")
    tool.expect_status(0)
    progress = [event["fraction"] for event in tool.events if event["type"] == "progress"]
    if progress != sorted(progress):
        raise Refuted(f"the progress goes back: {progress}")
    bench.known["created"] = path


def refuse_image(bench):
    bench.need_program()
    path = bench.new_path("refused")
    image = bench.write("not-an-image.ipsw", "This is no restore image.\n")
    tool = bench.tool("create", "--ipsw", image, "--bundle", path, seconds=120)
    tool.expect(type="error", code="ipsw-unreadable")
    tool.expect_status(1)
    if os.path.exists(path):
        raise Refuted("it has left a bundle")


def without_entitlement(bench):
    need_image(bench)
    bare = bench.path("bare")
    shutil.copyfile(bench.program, bare)
    os.chmod(bare, 0o755)
    status, output = bench.run(["codesign", "--force", "--sign", "-", bare], 60)
    if status != 0:
        raise NotTried(f"codesign has failed: {output.strip()}")
    path = bench.new_path("bare-guest")
    status, output = bench.run([bare, "status", "--bundle", path], 20)
    if status != 0 or '"type":"status"' not in output:
        raise Refuted(f"status says: {output.strip()}")
    status, output = bench.run([bare, "create", "--ipsw", bench.ipsw, "--bundle", path], 300)
    if status != 1 or '"type":"error"' not in output:
        raise Refuted(f"create ended with status {status}: {output.strip()[-200:]}")


def clone_of(bench, source, *options):
    path = bench.new_path("clone")
    tool = bench.tool("clone", "--from", source, "--to", path, *options, seconds=60)
    tool.expect(type="cloned")
    tool.expect_status(0)
    return path


def guest(bench):
    """The guest that most attempts run: a clone with an identifier of its own."""
    if "guest" not in bench.known:
        bench.known["guest"] = clone_of(bench, first_guest(bench), "--regenerate-machine-id")
    return bench.known["guest"]


def start(bench, path, state="running"):
    tool = bench.tool("run", "--bundle", path, seconds=BOOT)
    tool.expect(type="state", state=state)
    return tool


def stop_hard(tool):
    tool.signal(signal.SIGTERM)
    tool.expect_stopped(HARD)


def boots(bench, path):
    tool = start(bench, path)
    tool.expect_quiet(bench.settle)
    stop_hard(tool)


def pause_and_resume(bench):
    tool = start(bench, guest(bench))
    for _ in range(2):
        tool.send(PAUSE)
        paused(tool)
        tool.send(RESUME)
        tool.expect(type="guest-power", state="resumed")
    stop_hard(tool)


def orderly_stop(bench):
    """A guest may ask its user first, so the stop need not come; the request must be taken, and the
    end be told either way."""
    tool = start(bench, guest(bench))
    tool.expect_quiet(bench.settle)
    tool.send(STOP)
    try:
        tool.expect(bench.settle, type="state", state="stopped")
    except Refuted:
        if tool.ended:
            raise
        tool.signal(signal.SIGTERM)
        tool.expect_stopped((ORDERLY, HARD))  # it may have stopped before the signal came
        return
    if not tool.events[-1]["reason"].startswith(ORDERLY):
        raise Refuted(f"the reason is '{tool.events[-1]['reason']}'")
    tool.expect_status(0)


def hard_stop_while_stopping(bench):
    tool = start(bench, guest(bench))
    tool.expect_quiet(bench.settle)  # a guest that starts need not take a stop request
    tool.send(STOP, RESUME)
    tool.expect(type="error", code="resume-refused")  # so the request has been made
    stop_hard(tool)


def hard_stop_while(state):
    def prove(bench):
        tool = start(bench, guest(bench), "starting" if state == "starting" else "running")
        if state == "paused":
            tool.send(PAUSE)
            paused(tool)
        stop_hard(tool)

    return prove


def twice(bench):
    first = start(bench, guest(bench))
    second = bench.tool("run", "--bundle", guest(bench))
    second.expect(type="error", code="boot-failed")
    second.expect_status(1)
    first.send(PAUSE)
    paused(first)
    stop_hard(first)


def plain_clone(bench):
    boots(bench, clone_of(bench, guest(bench)))


def new_clone(bench):
    boots(bench, clone_of(bench, guest(bench), "--regenerate-machine-id"))


def taken_by_clone(bench, source):
    """How much of the volume was taken while a clone was made, in bytes."""
    before = bench.free(bench.folder)
    clone_of(bench, source)
    return before - bench.free(bench.folder)


def shared_storage(bench):
    source = guest(bench)
    disk = os.stat(os.path.join(source, "Disk.img")).st_blocks * 512
    # Other programs write meanwhile, so the least of some tries counts.
    used = min(taken_by_clone(bench, source) for _ in range(3))
    if used > max(disk // 10, 256 * MEBIBYTE):
        raise Refuted(f"a clone took {used // MEBIBYTE} MiB of the volume")


def limit_of_machines(bench):
    """Two run; a third one is told the limit. So is the parent."""
    running = [start(bench, clone_of(bench, guest(bench), "--regenerate-machine-id"))
               for _ in range(2)]
    third = bench.tool("run", "--bundle", guest(bench), seconds=BOOT)
    third.expect(type="error", code="vm-limit")
    third.expect(type="state", state="stopped", crashed=True)
    third.expect_status(1)
    for tool in running:
        stop_hard(tool)


def contract(bench):
    test = os.path.join(bench.build, "tests", "contract", "contract_test")
    path = guest(bench)
    if not os.access(test, os.X_OK):
        raise NotTried("the dev preset was not built")
    status, output = bench.run([test, "--gtest_filter=*/Mac*"], 1800, {"PARLEN_MAC_BUNDLE": path})
    failed = [line for line in output.splitlines() if line.startswith("[  FAILED  ]")]
    if status != 0:
        raise Refuted(f"status {status}; {' '.join(failed[:10]) or output[-300:]}")


STAGE = [
    Assumption("guest.refuse-image", "a file that is no restore image is refused", RESTORATION,
               refuse_image),
    Assumption("guest.bare", "without the entitlement status works and create ends with an error",
               "cmake/ParlenSigning.cmake, README.md", without_entitlement),
    Assumption("guest.create", "a guest is installed, and its progress rises", RESTORATION, create),
    Assumption("guest.power", "a guest runs, pauses and resumes", MACHINE, pause_and_resume),
    Assumption("guest.stop", "a stop request is taken, and the end is told", MACHINE, orderly_stop),
    Assumption("guest.hard-starting", "a hard stop works while the machine starts", MACHINE,
               hard_stop_while("starting")),
    Assumption("guest.hard-running", "a hard stop works while it runs", MACHINE,
               hard_stop_while("running")),
    Assumption("guest.hard-paused", "a hard stop works while it is paused", MACHINE,
               hard_stop_while("paused")),
    Assumption("guest.hard-stopping", "a hard stop works during an orderly one", MACHINE,
               hard_stop_while_stopping),
    Assumption("guest.twice", "a bundle that runs is refused to a second process", FILES, twice),
    Assumption("clone.storage", "a clone shares the disk's storage", FILES, shared_storage),
    Assumption("clone.plain", "a plain clone boots", "src/bundle/clone.cpp", plain_clone),
    Assumption("clone.new", "a clone with a new identifier boots", "src/bundle/clone.cpp", new_clone),
    Assumption("guest.limit", "a third machine at once is refused with vm-limit", MACHINE,
               limit_of_machines),
    Assumption("guest.contract", "the machine contract holds",
               "src/platform/macos, the file of the failed call", contract),
]
