"""The emulator misbehaves in every way that its control socket, its output and its end allow."""

import chances
import tool as tools


def attempt(world):
    world.shelf.put_bundle(world.inside / "guest", "qemu")
    world.pick(regular, regular, regular, irregular, irregular, irregular, ending, ending, start,
               noise, monitor_closed)(world)


def run(world, behaviour):
    world.use_fake_qemu(behaviour)
    tool = world.start("run", "--bundle", world.inside / "guest")
    tool.pump(world.moment(), lambda: tool.is_running or tool.over)
    return tool


def maybe_stop(world, tool):
    """Sometimes the parent asks for the stop before `finish` does."""
    if world.chance(0.3):
        tool.command("stop")
        tool.pump(world.moment())


def regular(world):
    """Answers come late or as errors, but in order: each command has exactly its own answer."""
    replies = chances.regular_replies(world)
    tool = run(world, {"replies": replies, "pieces": world.pick(None, 1, 7)})
    tool.pump(tools.HANG_SECONDS, lambda: tool.is_running or tool.over)
    chances.commands(world, tool, world.pick(2, 10, 40))
    chances.await_answers(world, tool, tools.HANG_SECONDS)
    maybe_stop(world, tool)
    tool.finish()
    chances.check_turns(world, tool)


def irregular(world):
    """Answers and events that no emulator would send in this order."""
    behaviour = {"replies": chances.irregular_replies(world), "script": []}
    for _ in range(world.pick(0, 1, 3, 10)):
        thing = world.pick("STOP", "RESUME", "BLOCK_IO_ERROR", "RESET", "ODD", "garbage",
                           "long-line", "stderr", "POWERDOWN")
        behaviour["script"].append([world.rng.randint(0, 200), thing])
    tool = run(world, behaviour)
    chances.commands(world, tool, world.pick(1, 5, 20))
    maybe_stop(world, tool)
    tool.finish()


def ending(world):
    """It ends on its own: the run tells so, as a crash unless the guest has shut down in order."""
    ending = world.pick(*chances.ENDINGS)
    at = world.rng.randint(0, 100)
    then = [[at + world.pick(0, 0, 30), world.pick("exit", "exit", "fail", "kill")]] \
        if ending in ("SHUTDOWN", "PANIC") else []
    tool = run(world, {"script": [[at, ending], *then],
                       "replies": chances.regular_replies(world) if world.chance(0.3) else {}})
    if world.chance(0.5):
        chances.commands(world, tool, world.pick(1, 4))
    if tool.stop_requested:
        return tool.finish()
    tool.pump(tools.HANG_SECONDS, lambda: tool.over)
    world.require(tool.over, "the emulator has ended, and the run goes on")
    tool.await_end()
    in_order = ending == "SHUTDOWN" and then[0][1] == "exit"
    if tool.is_running:
        world.require(tool.has(crashed=not in_order), f"crashed has the wrong value after {ending}")


def start(world):
    """It starts late, in part, or not at all."""
    behaviour = world.pick(
        {"greetMs": None}, {"greetMs": 300}, {"atOnce": "fail"}, {"atOnce": "crash"},
        {"atOnce": "kill"}, {"atOnce": "exit"}, {"atOnce": "close-qmp"}, {"atOnce": "stderr"},
        {"atOnce": "sleep"}, {"atOnce": "garbage"}, {"atOnce": "SHUTDOWN"},
        {"replies": {"qmp_capabilities": []}}, {"replies": {"qmp_capabilities": ["error"]}},
        {"replies": {"qmp_capabilities": ["greet", "ok"]}}, {"replies": {"cont": []}},
        {"replies": {"cont": ["error"]}}, {"replies": {"cont": ["fail"]}},
        {"replies": {"qmp_capabilities": ["kill"]}}, {"replies": {"cont": ["SHUTDOWN", "exit"]}})
    tool = run(world, behaviour)
    chances.commands(world, tool, world.pick(0, 3))
    maybe_stop(world, tool)
    tool.finish()


def noise(world):
    """It talks without end: a signal is heard all the same."""
    flood = world.pick("flood", "stderr-flood", "stderr", "long-line")
    tool = run(world, {"script": [[world.rng.randint(0, 50), flood]]})
    tool.pump(world.moment() + 0.1)
    maybe_stop(world, tool)
    tool.finish()


def monitor_closed(world):
    """It closes the control socket, or sleeps: it ends with the run; and a run whose emulator can
    never be heard again ends on its own."""
    thing = world.pick("close-qmp", "sleep", "sleep")
    tool = run(world, {"script": [[world.rng.randint(0, 50), thing]]})
    chances.commands(world, tool, world.pick(0, 2))
    if thing == "close-qmp" and world.chance(0.3):
        tool.pump(tools.HANG_SECONDS, lambda: tool.over)
        world.require(tool.over, "QEMU has closed its control socket, and the run goes on for ever")
        return tool.await_end()
    maybe_stop(world, tool)
    tool.finish()
