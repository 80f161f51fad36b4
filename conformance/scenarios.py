"""The scenarios: what the simulated host plays, what the parent is asked for, and what has to come of it.

The sentence of each says what a good parent does. `conformance/README.md` lists them; a test compares."""

import signal

from kit.case import Case, Expected, Outside, Truth

RUN = ("run", "--bundle", "{bundle}")
GUI = (*RUN, "--gui")
RUNNING, HELD, ACTION, END = ({"wait": name} for name in ("running", "held", "window-action", "end"))

IMPATIENT = (200, 20000)  # ms: an orderly stop that will not come, and a hard one that will
SHUT_DOWN = Expected("shut-down")
SWITCHED_OFF = Expected("switched-off")
ORDERLY = Truth(calls=("machine.requestStop",), never=("machine.stop",))
NOT_STARTED = Truth(never=("machine.start",))


def send(kind, **members):
    return {"send": {"type": kind, **members}}


def script(*events):
    """(ms after the start, event) or (ms, event, description of its error)."""
    return [{"atMs": at, "event": event, **({"error": {"description": error[0]}} if error else {})}
            for at, event, *error in events]


def after(at, event, *error):
    return {"script": script((at, event, *error))}


def failed(code, **more):
    return Expected("failed", code, **more)


FLOOD = 4000  # events of 44 bytes: more than the pipes on the way hold
NOTE = "the cable is out " * 16
ODD = {"emoji": "\U0001f469\u200d\U0001f4bb \U0001f600", "combining": "e\u0301\u0323", "newline": "a\nb\r\n",
       "tab": "\t", "quotes": "\"'\\/`$(id)", "separators": "\u2028\u2029\u0000\u007f"}
ODD_TEXT = " ".join(ODD.values())
LONG_TEXT = "0123456789abcdef" * 65536  # 1 MiB

SCENARIOS = (
    # How a run ends.
    Case("orderly-stop", "Starts the guest, waits until it runs, asks it to stop, and waits for the process.",
         RUN, SHUT_DOWN, (RUNNING,), truth=ORDERLY),
    Case("late-running", "Sends nothing to a guest that has not yet started.",
         GUI, Expected("shut-down", answers=("done",)), (RUNNING, send("text", text="ab", delayMs=20)),
         scenario={"machine": {"startMs": 400}}, truth=Truth(typed="ab")),
    Case("stops-by-itself", "Takes the end that nobody asked for as an orderly one.",
         RUN, SHUT_DOWN, (RUNNING, END), scenario=after(300, "guest-stops"),
         truth=Truth(never=("machine.requestStop", "machine.stop"))),
    Case("slow-stop", "Waits for a guest that takes its time to shut down, and does not switch it off.",
         RUN, SHUT_DOWN, (RUNNING,), scenario={"machine": {"shutdownMs": 700}}, truth=ORDERLY),
    Case("ignores-stop", "Sends SIGTERM when the guest has not shut down within its patience.",
         RUN, SWITCHED_OFF, (RUNNING,), IMPATIENT, {"machine": {"shutdownMs": None}},
         Truth(calls=("machine.requestStop", "machine.stop"))),
    Case("cannot-be-stopped", "Sends SIGKILL when SIGTERM has not helped either.",
         RUN, Expected("killed"), (RUNNING,), (200, 200), {"machine": {"shutdownMs": None, "stopMs": None}},
         Truth(calls=("machine.requestStop", "machine.stop"))),
    Case("stop-while-starting", "Can stop a guest that does not run yet, and does not wait for `running`.",
         RUN, SWITCHED_OFF, scenario={"machine": {"startMs": 60000}}, truth=Truth(calls=("machine.stop",))),
    Case("stop-while-paused", "Reports that a paused guest was switched off, and not shut down.",
         RUN, Expected("switched-off", answers=("done",)), (RUNNING, send("pause"))),
    # Runs that fail.
    Case("limit-reached", "Tells the limit of machines from other failures.",
         RUN, failed("vm-limit"), (RUNNING,),
         scenario={"machine": {"startError": {"domain": "VZErrorDomain", "code": 6}}}),
    Case("crash-at-start", "Does not wait for a `running` that never comes.",
         RUN, failed("boot-failed"), (RUNNING,), scenario={"machine": {"startMs": 50, "startError": {}}}),
    Case("machine-fails", "Reports the failure of a machine that ran.",
         RUN, failed("boot-failed"), (RUNNING, END), scenario=after(100, "stops-with-error", "burnt out")),
    Case("guest-panics", "Reports the crash of the guest's operating system as a failure.",
         RUN, failed("boot-failed"), (RUNNING, END), scenario=after(100, "guest-panics")),
    Case("fails-while-stopping", "Does not take exit status 0 for an orderly end: the last line says how it ended.",
         RUN, failed("boot-failed"), (RUNNING,),
         scenario={"machine": {"shutdownMs": None}, **after(700, "stops-with-error", "burnt out")}),
    Case("bundle-in-use", "Reports a guest that another process uses; there is a `stopped`, but no `starting`.",
         RUN, failed("boot-failed"), (RUNNING,), in_use=True, truth=NOT_STARTED),
    Case("disk-in-use", "Reports a guest whose disk turns out to be in use when it starts.",
         RUN, failed("boot-failed"), (RUNNING,), scenario={"machine": {"inUse": True}}),
    Case("bundle-missing", "Waits for the process, and not for `stopped`: here is none.",
         ("run", "--bundle", "{new}"), failed("bundle-missing"), (RUNNING,), truth=NOT_STARTED),
    Case("invalid-settings", "Reports a `vm.json` that the host cannot run; here is no `stopped` either.",
         RUN, failed("boot-failed"), (RUNNING,), settings={"cpuCount": 64}, truth=NOT_STARTED),
    Case("bad-usage", "Reports a mistake of its own: `error` is the first and only line, there is no `ready`.",
         RUN, failed("bad-usage"), (RUNNING,), scenario={"machine": {"startMS": 1}}),
    # Commands and their answers.
    Case("refusal-overtakes", "Sends one input at a time, and gives each its own answer.",
         GUI, Expected("shut-down", answers=("done", "input-failed", "input-failed", "done")),
         (RUNNING, send("text", text="abc", delayMs=20), send("text", text="\u00e9"), send("key", key="cmd+Bad"),
          send("text", text="def", delayMs=20)), truth=Truth(typed="abcdef")),
    Case("input-cut-off", "Does not wait for the answer to an input that the guest's end has cut off.",
         GUI, Expected("shut-down", answers=("ended", "ended")),
         (RUNNING, send("text", text="a long text\n" * 20, delayMs=20), send("key", key="return")),
         scenario=after(1200, "guest-stops")),
    Case("odd-texts", "Sends texts unchanged: emoji, combining characters, line feeds, tabs, quotes.",
         RUN, Expected("shut-down", answers=("sent",)),
         (RUNNING, send("window", show=True, title=ODD_TEXT, detail=ODD["quotes"])),
         truth=Truth(labels={"title": ODD_TEXT, "detail": ODD["quotes"]})),
    Case("long-text", "Sends a text of 1 MiB whole, and takes the refusal of such an input.",
         GUI, Expected("shut-down", answers=("input-failed", "done")),
         (RUNNING, send("text", text=LONG_TEXT + "\u00e9"), send("text", text="\t\"\n", delayMs=20)),
         truth=Truth(typed="\t\"\r")),
    Case("pause-fails", "Goes on with a guest that could not be paused, and stops it in order.",
         RUN, Expected("shut-down", answers=("pause-refused",)), (RUNNING, send("pause")),
         scenario={"machine": {"pauseError": {}}}, truth=ORDERLY),
    Case("power-refused", "Tells the answers to pause and resume apart from their refusals.",
         RUN, Expected("shut-down", answers=("done", "pause-refused", "done", "resume-refused")),
         (RUNNING, send("pause"), send("pause"), send("resume"), send("resume")), truth=ORDERLY),
    Case("window-closed", "Takes the user's closing of the window as `later`, and goes on.",
         RUN, Expected("shut-down", answers=("sent",), actions=("later",)),
         (RUNNING, send("window", show=True, title="Log in"), ACTION),
         scenario={"script": script(*((at, "closes-window") for at in range(100, 20000, 100)))}),
    Case("window-done", "Hides the window itself when the user has pressed Done.",
         RUN, Expected("shut-down", answers=("sent", "sent"), actions=None),
         (RUNNING, send("window", show=True, title="Log in"), ACTION, send("window", show=False)),
         scenario={"script": script(*((at, "clicks-done") for at in range(100, 20000, 100)))},
         truth=Truth(calls=("window.orderOut",))),
    # What only standard error says.
    Case("held-by-full-disk", "Notices that the host's full disk holds the guest, and resumes it when there is room.",
         RUN, Expected("shut-down", answers=("done",), noticed=("held",)), (RUNNING, HELD, send("resume")),
         scenario={"script": script((100, "disk-fills", "No space left on device"), (100, "disk-has-room"))},
         truth=ORDERLY),
    Case("held-for-good", "Reports that a guest that a full disk holds was switched off: it cannot be asked.",
         RUN, Expected("switched-off", answers=("done",), noticed=("held",)), (RUNNING, HELD, send("resume")),
         scenario=after(100, "disk-fills", "No space left on device")),
    Case("network-lost", "Notices that the guest has lost its network, and lets it run on.",
         RUN, Expected("shut-down", noticed=("network-lost",)), (RUNNING, {"wait": "network-lost"}),
         scenario=after(100, "network-disconnects", "the cable is out"), truth=ORDERLY),
    Case("stderr-flood", "Reads standard error all the time: what is not read is lost, with what matters.",
         RUN, Expected("shut-down", noticed=("held", "network-lost")), (RUNNING, HELD, END),
         scenario={"script": script(*((50, "network-disconnects", NOTE) for _ in range(1000)),
                                    (900, "disk-fills", "No space left on device"), (1000, "guest-stops"))}),
    Case("output-flood", "Reads standard output all the time, also while it waits for something else.",
         RUN, Expected("shut-down", answers=("sent",), actions=None),
         (RUNNING, send("window", show=True, title="Log in"), END),
         scenario={"script": script(*((300 + i // 5, "clicks-later") for i in range(FLOOD)), (1300, "guest-stops"))}),
    # Events ahead of their time, and lines in pieces.
    Case("unknown-events", "Ignores events of types that it does not know.",
         GUI, Expected("shut-down", answers=("done",)), (RUNNING, send("key", key="return")), change="unknown-events"),
    Case("unknown-members", "Ignores members that it does not know.",
         GUI, Expected("shut-down", answers=("done",)), (RUNNING, send("key", key="return")), change="unknown-members"),
    Case("unknown-code", "Ignores an error code that it does not know: the run goes on.",
         RUN, Expected("shut-down", answers=("done", "done")), (RUNNING, send("pause"), send("resume")),
         change="unknown-code", truth=ORDERLY),
    Case("later-protocol", "Stops the guest and says so when `proto` is a number that it does not know.",
         RUN, Expected("unknown-protocol"), (RUNNING, END), change="later-protocol"),
    Case("lines-in-pieces", "Puts lines together that arrive in pieces.",
         GUI, Expected("shut-down", answers=("done",)), (RUNNING, send("key", key="return")), change="in-pieces"),
    # Signals from outside.
    Case("killed-tool", "Notices that the tool was killed: the stream ends without a last line.",
         RUN, Expected("killed"), (RUNNING, END), outside=Outside("tool", signal.SIGKILL)),
    Case("hung-up-tool", "Notices that the tool was ended by SIGHUP, which it does not handle.",
         RUN, Expected("killed"), (RUNNING, END), outside=Outside("tool", signal.SIGHUP)),
    Case("ctrl-c", "Keeps Ctrl-C away from the tool, so that the guest is not switched off by it.",
         RUN, Expected(None), (RUNNING, END), outside=Outside("parent", signal.SIGINT),
         scenario=after(1500, "guest-stops"), truth=Truth(never=("machine.stop",))),
    Case("parent-killed",
         "Holds the only writing end of the tool's input: when the parent is killed, the guest shuts down.",
         RUN, Expected(None), (RUNNING, END), outside=Outside("parent", signal.SIGKILL), truth=ORDERLY),
    # The other subcommands.
    Case("create", "Waits for `created`.",
         ("create", "--ipsw", "{image}", "--bundle", "{new}", "--disk-gb", "1"),
         Expected("done", last={"type": "created", "bundle": "{new}"}),
         scenario={"install": {"stepMs": 20}}, truth=Truth(calls=("installer.install",))),
    Case("create-fails", "Does not take a progress of 1 for success.",
         ("create", "--ipsw", "{image}", "--bundle", "{new}", "--disk-gb", "1"), failed("create-failed"),
         scenario={"install": {"error": {"description": "the disk is full"}}}),
    Case("create-image-missing", "Reports an image that is not there.",
         ("create", "--ipsw", "{new}", "--bundle", "{new}-2", "--disk-gb", "1"), failed("ipsw-missing")),
    Case("create-killed", "Notices that a creation was killed.",
         ("create", "--ipsw", "{image}", "--bundle", "{new}", "--disk-gb", "1"), Expected("killed"),
         scenario={"install": {"stepMs": 60000}}, outside=Outside("tool", signal.SIGTERM, "starting")),
    Case("clone", "Copies a guest, also one whose path is odd.",
         ("clone", "--from", "{bundle}", "--to", "{new}"),
         Expected("done", last={"type": "cloned", "from": "{bundle}", "to": "{new}"}),
         path_suffix=" \"$HOME\" \\ \u00e9\U0001f600\n,-x"),
    Case("clone-in-use", "Reports that a guest in use is not copied.",
         ("clone", "--from", "{bundle}", "--to", "{new}"), failed("clone-failed"), in_use=True),
    Case("status", "Reads the report.",
         ("status", "--bundle", "{bundle}"),
         Expected("done", last={"type": "status", "exists": True, "supported": True, "bundle": "{bundle}"})),
    Case("status-unsupported", "Reads from the report that this host cannot run machines.",
         ("status", "--bundle", "{new}"), Expected("done", last={"exists": False, "supported": False}),
         scenario={"host": {"supported": False}}),
)
