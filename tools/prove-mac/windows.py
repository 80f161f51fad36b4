"""Windows without a guest: runs tests/macos/window_check, which shows a window of the program's own
classes with a recording view in it, and prints "id: yes" or "id: no, why" for each assumption."""

import os

from outcomes import Assumption, NotTried, Refuted
from processes import Hung

WINDOW = "src/platform/macos/window.mm"
SYSTEM = "src/platform/macos/window_system.mm"
BAR = "src/platform/macos/bar.mm"
APPLICATION = "src/platform/macos/application.mm"
NO_SESSION = "session: no"


def checked(bench):
    """The check's answers by id, and how it ended; it is run once."""
    if "windows" not in bench.known:
        bench.known["windows"] = run_check(bench)
    output, end = bench.known["windows"]
    if NO_SESSION in output:
        raise NotTried("nobody is logged in at this Mac's screen")
    return dict(line.split(": ", 1) for line in output.splitlines() if ": " in line), end


def run_check(bench):
    """Its output, and how it ended."""
    check = os.path.join(bench.build, "tests", "macos", "window_check")
    if not os.access(check, os.X_OK):
        raise NotTried("there is no window_check: the dev preset was not built")
    try:
        status, output = bench.run([check], 60)
    except Hung as hung:
        return hung.output, str(hung)
    return output, f"it ended with status {status}"


def window(name):
    def prove(bench):
        if not bench.gui:
            raise NotTried("without --gui")
        answers, end = checked(bench)
        answer = answers.get(name, f"no, the check did not come so far: {end}")
        if answer != "yes":
            raise Refuted(answer.replace("no, ", "", 1))

    return prove


STAGE = [
    Assumption("windows." + name, sentence, file, window(name))
    for name, sentence, file in (
        ("opens", "the window system opens when somebody is logged in", "src/platform/macos/host.mm"),
        ("chrome", "the chrome of a plain window is its title bar's height", WINDOW),
        ("chrome-with-bar", "the bar makes the chrome higher before the window is shown", BAR),
        ("visible", "a shown window is visible and has a screen", WINDOW),
        ("key-window", "a shown window becomes the key window", SYSTEM),
        ("key-down", "a sent key-down reaches the first responder, with its key code", SYSTEM),
        ("key-up", "so does a key-up", SYSTEM),
        ("flags-changed", "so does a change of modifiers, device bits and all", SYSTEM),
        ("command-key-up", "so does a key-up while Command is held", SYSTEM),
        ("later", "a click on Later is reported once", BAR),
        ("done", "a click on Done is reported once", BAR),
        ("hidden", "a hidden window takes its application out of the Dock", APPLICATION),
        ("shown-again", "both come back when it is shown again", APPLICATION),
        ("close-asks", "the close button asks, and a refused window stays", WINDOW),
        ("close", "an allowed one goes off the screen", WINDOW),
        ("close-again", "it can be shown and closed again", WINDOW),
        ("gone", "a window that is given up leaves nothing on the screen", WINDOW),
        ("quit", "quitting calls the program's handler and does not end the process", APPLICATION),
    )
]
