"""What is done to a program while it works, and when."""

import signal

import processes
import tool as tools

SIGNALS = (signal.SIGTERM, signal.SIGINT, signal.SIGHUP, signal.SIGQUIT, signal.SIGPIPE,
           signal.SIGKILL, signal.SIGSTOP)


def wait_for_moment(world, tool, path=None):
    """Until a random moment: of time, after a line, after the start of a child, or after the
    appearance of `path`."""
    conditions = {"line": lambda: len(tool.lines) >= count, "child": tool.children,
                  "path": lambda: path is not None and path.exists()}
    count = world.rng.randint(1, 4)
    way = world.pick("time", *conditions)
    if way != "time":
        tool.pump(0.5, lambda: tool.over or bool(conditions[way]()))
    tool.pump(world.moment(0.05 if way != "time" else 0.4), lambda: tool.over)
    check_descriptors(world, tool)


def strike(world, tool, numbers=SIGNALS):
    """Sends a random signal to the tool or to one of its children."""
    number = world.pick(*numbers)
    victims = tool.children()
    if not victims or world.chance(0.6):
        tool.signal(number)
        if number == signal.SIGSTOP:
            tool.pump(world.moment(), lambda: False)
            tool.signal(signal.SIGCONT)
        return
    victim = world.pick(*victims)
    name = processes.program_of(victim)
    world.say(f"{tool.name}: its child {name} gets {signal.Signals(number).name}")
    processes.send(victim, number, parent=tool.pid)
    # A run ends a guest that does not answer; any other work may wait for its child for ever.
    if number == signal.SIGSTOP and (tool.subcommand != "run" or world.chance(0.5)):
        tool.pump(world.moment(), lambda: tool.over)
        world.say(f"{tool.name}: its child gets SIGCONT")
        processes.send(victim, signal.SIGCONT, parent=tool.pid)


def check_descriptors(world, tool):
    """No child has the tool's own streams or a descriptor of a bundle; only chmod has streams."""
    leaked = _leaked(tool)
    # What is closed by exec is closed a little after the child is another program.
    tool.pump(tools.HANG_SECONDS / 10, lambda: not set(leaked) & set(_leaked(tool)))
    leaked = set(leaked) & set(_leaked(tool))
    world.require(not leaked, f"a child has descriptors of the tool: {sorted(leaked)}")


def _leaked(tool):
    own = processes.open_files(tool.pid)
    streams = {own[number] for number in (0, 1, 2) if own.get(number, "").startswith("pipe:")}
    folders = {path for option in ("--bundle", "--from", "--to") if option in tool.arguments
               for path in [tool.arguments[tool.arguments.index(option) + 1]]}
    name = processes.program_of(tool.pid)
    found = []
    for child in tool.children():
        program = processes.program_of(child)
        if program in (name, "chmod", ""):
            continue
        files = processes.open_files(child)
        found += [(program, number, target) for number, target in files.items()
                  if target in streams or target in folders]
    return found
