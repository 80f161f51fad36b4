"""Five yes-or-no questions about what only a person sees, each with the guest's window on screen."""

import guests
from outcomes import Assumption, NotTried, Refuted

TEXT = {"type": "text", "text": "The quick brown fox, 0123456789 ~!@#$%^&*()_+{}|:\"<>?\n"}
BAR = {
    "type": "window",
    "show": True,
    "title": "Sign in, please",
    "detail": "A long second line, long enough to be cut off at its end on any screen that this "
    "has been tried on so far, and then some more words that nobody needs to read",
}


def look(options, commands, question):
    def prove(bench):
        if not bench.gui:
            raise NotTried("without --gui")
        if bench.ask is None:
            raise NotTried("there is no terminal to answer on")
        tool = bench.tool("run", "--bundle", guests.guest(bench), *options, seconds=guests.BOOT)
        tool.expect(type="state", state="running")
        tool.expect_quiet(bench.settle)
        for command in commands:
            tool.send(command)
        answer = bench.ask(question)
        if answer is None:
            raise NotTried("not answered")
        if not answer:
            raise Refuted("seen otherwise")
        guests.stop_hard(tool)

    return prove


STAGE = [
    Assumption("eyes.window", "a run with a window shows the guest", "src/platform/macos/window.mm",
               look(["--gui"], [],
                    "Is the window in front, with an icon in the Dock, the guest's first screen in "
                    "the right proportions, and is the picture scaled when you resize it?")),
    Assumption("eyes.keys", "typed text arrives in the guest", "src/platform/macos/window_system.mm",
               look(["--gui"], [TEXT, {"type": "key", "key": "cmd+a"}],
                    "If the guest had a text field in focus: is the whole text there, and selected? "
                    "(If it had none, press Return alone.)")),
    Assumption("eyes.capture", "the guest gets the host's key combinations",
               "src/platform/macos/window_system.mm",
               look(["--gui"], [],
                    "Press Command-Space in the window: did the guest get it, and not this Mac?")),
    Assumption("eyes.bar", "the bar looks as in docs/window-bar.png", "src/platform/macos/bar.mm",
               look([], [BAR],
                    "Icon, two lines, Later and a blue Done under the title, the long line cut off "
                    "with an ellipsis, and the guest's picture whole below?")),
    Assumption("eyes.full-screen", "the bar does not cover the guest in full screen",
               "src/platform/macos/bar.mm",
               look([], [BAR], "Make the window full screen: is the whole guest visible?")),
]
