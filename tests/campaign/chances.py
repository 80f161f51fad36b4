"""Random scenarios of the simulated host, random behaviours of the emulator, random commands."""

KEYS = ("a", "shift+b", "cmd+q", "return", "hyper+x", "", "ctrl+option+delete")
# What a reply to `stop` or `cont` can be made of, when the emulator keeps the order of things.
REGULAR = (["{event}", "ok"], ["ok", "{event}"], ["{event}", [3], "ok"], [[5], "{event}", "ok"],
           ["{event}", [40], "ok"], ["error"], [[10], "error"], ["garbage", "{event}", "ok"])
IRREGULAR = ("ok", "error", "wrong-id", "no-id", "garbage", "STOP", "RESUME", "RESET", "hold",
             "BLOCK_IO_ERROR", "ODD", [2], [30])
ENDINGS = ("exit", "fail", "crash", "kill", "eof-exit", "SHUTDOWN", "PANIC")


def error(world):
    return {"domain": world.pick("ParlenSimulatedErrorDomain", "VZErrorDomain", "Other"),
            "code": world.rng.randint(0, 9),
            "description": world.pick("no luck", "", "a \"/\n\u00fc")}


def milliseconds(world, never=0.0):
    if world.chance(never):
        return None
    return world.pick(0, 0, 1, 3, world.rng.randint(0, 30), world.rng.randint(0, 200))


def machine(world):
    """The member `machine` of a scenario."""
    chosen = {}
    for name in ("startMs", "pauseMs", "resumeMs"):
        chosen[name] = milliseconds(world)
    chosen["shutdownMs"] = milliseconds(world, never=0.2)
    chosen["stopMs"] = milliseconds(world, never=0.05)
    for name in ("startError", "requestStopError", "stopError", "pauseError", "resumeError"):
        if world.chance(0.1):
            chosen[name] = error(world)
    if world.chance(0.1):
        chosen["canRequestStop"] = world.chance(0.5)
    return chosen


def script(world):
    """The member `script`: what happens on its own."""
    steps = []
    for _ in range(world.pick(0, 0, 1, 2, 5)):
        event = world.pick("guest-stops", "stops-with-error", "network-disconnects",
                           "enters-error-state", "clicks-later", "clicks-done", "closes-window",
                           "guest-panics", "disk-fills", "disk-has-room")
        step = {"atMs": world.rng.randint(0, 300), "event": event}
        if event in ("stops-with-error", "network-disconnects", "disk-fills"):
            step["error"] = error(world)
        steps.append(step)
    return steps


def scenario(world):
    """A scenario for a run."""
    chosen = {"machine": machine(world), "script": script(world)}
    if world.chance(0.05):
        chosen["configuration"] = {world.pick("attachError", "validateError"): error(world)}
    if world.chance(0.1):
        chosen["window"] = {"visibleFrame": world.pick(None, [0, 0, 300, 200]),
                            "unbuildableKeyCodes": [0, 36]}
    return chosen


def installation(world):
    """A scenario for a create."""
    fractions = sorted(world.rng.random() for _ in range(world.pick(0, 1, 5, 40)))
    if world.chance(0.1):
        world.rng.shuffle(fractions)
    chosen = {"restoreImage": {"loadMs": milliseconds(world)},
              "install": {"progress": [0, *fractions, 1], "stepMs": world.pick(0, 0, 1, 5, 20)}}
    for member, chance in (("restoreImage", 0.05), ("install", 0.1)):
        if world.chance(chance):
            chosen[member]["error"] = error(world)
    return chosen


def regular_replies(world):
    """An emulator that answers everything in the order that the real one has, early or late."""
    replies = {}
    for command, event in (("stop", "STOP"), ("cont", "RESUME")):
        shape = world.pick(*REGULAR)
        replies[command] = [part if isinstance(part, list) else part.format(event=event)
                            for part in shape]
    return replies


def irregular_replies(world):
    replies = {}
    for command in ("qmp_capabilities", "stop", "cont", "system_powerdown", "quit"):
        if world.chance(0.4):
            replies[command] = [world.pick(*IRREGULAR) for _ in range(world.rng.randint(0, 4))]
    return replies


def commands(world, tool, count, gui=False):
    """Commands at random moments, many of them at once."""
    for _ in range(count):
        if tool.over:
            return
        verb = world.pick("pause", "resume", "pause", "resume", *(["text", "key"] if gui else []),
                          *(["window"] if world.chance(0.2) else []))
        members = {"text": {"text": world.pick("hi\n", "", "\u00e9", "x" * 30), "delayMs": 20},
                   "key": {"key": world.pick(*KEYS)},
                   "window": {"show": world.chance(0.7), "title": "t", "detail": "d"}}
        tool.command(verb, **members.get(verb, {}))
        if world.chance(0.5):
            tool.pump(world.moment(0.1))


def answers(tool):
    """How many commands `pause` and `resume` have been answered."""
    return sum(event["type"] == "guest-power" or
               event.get("code") in ("pause-refused", "resume-refused") for event in tool.events)


def await_answers(world, tool, seconds):
    """Each pause and each resume is answered at last, as long as the run lasts."""
    expected = tool.commands["pause"] + tool.commands["resume"]
    tool.pump(seconds, lambda: tool.over or answers(tool) >= expected)
    world.require(tool.over or answers(tool) >= expected,
                  f"only {answers(tool)} answers to {expected} pauses and resumptions")


def check_turns(world, tool):
    """On a host that works, a guest is paused and resumed alternately."""
    powers = [event["state"] for event in tool.events if event["type"] == "guest-power"]
    expected = ["paused", "resumed"] * len(powers)
    world.require(powers == expected[:len(powers)], f"not paused and resumed alternately: {powers}")
