"""Parents that do not read, close too early, or send what is no command."""

import json

import bundles
import chances
import faults
import tool as tools


def attempt(world):
    world.pick(no_reader, no_reader, no_error_reader, closing, closing, missing_streams,
               full_output, garbage, garbage, long_lines, end_in_a_line)(world)


def running(world, *options, **streams):
    """A run that has got to `running`, on either host."""
    host = world.pick("simulated", "qemu")
    if host == "simulated":
        world.use_simulated_host({"machine": {"pauseMs": world.pick(0, 5)}})
    else:
        world.use_fake_qemu()
    world.shelf.put_bundle(world.inside / "guest", host)
    tool = world.start("run", "--bundle", world.inside / "guest", *options, **streams)
    tool.pump(tools.HANG_SECONDS, lambda: tool.is_running or tool.over)
    world.require(tool.is_running, "the guest does not run")
    return tool


def no_reader(world):
    """Nobody reads the events for a while: the tool waits, and nothing is lost."""
    tool = running(world)
    tool.reads["stdout"] = False
    count = world.pick(10, 900, 3000)
    line = b'{"type":"resume"}\n'  # refused, since the guest runs
    world.say(f"{count} times > resume, and the parent does not read")
    tool.commands["resume"] += count
    tool.write(line * count)
    tool.pump(world.moment() + 0.05)
    fault = world.pick("none", "none", "signal", "close")
    if fault == "close":
        tool.close_stream("stdout")
    elif fault == "signal":
        faults.strike(world, tool)
        tool.pump(world.moment())
    tool.reads["stdout"] = True
    if fault == "none":
        chances.await_answers(world, tool, tools.HANG_SECONDS)
    tool.finish()


def no_error_reader(world):
    """Nobody reads the warnings: the tool can be steered all the same."""
    tool = running(world)
    tool.reads["stderr"] = False
    count = world.pick(100, 4000)
    world.say(f"{count} unknown commands, and the parent does not read the warnings")
    tool.write(b'{"type":"what is this"}\n' * count)
    tool.pump(0.1)
    tool.command("pause")
    tool.pump(tools.HANG_SECONDS, lambda: tool.over or chances.answers(tool) > 0)
    world.require(chances.answers(tool) == 1, "unread warnings hold the tool up")
    tool.finish()


def closing(world):
    """The parent closes its end of a stream at some moment."""
    world.pick(closing_run, closing_create)(world)


def closing_run(world):
    tool = running(world)
    for name in world.pick(("stdout",), ("stderr",), ("stdout", "stderr")):
        tool.close_stream(name)
    chances.commands(world, tool, 3)
    tool.write(b"not a command\n")
    tool.pump(world.moment())
    tool.finish()


def closing_create(world):
    world.use_simulated_host(chances.installation(world))
    tool = world.start("create", "--ipsw", world.shelf.simulated_image, "--bundle",
                       world.inside / "guest", "--disk-gb", 1)
    tool.pump(world.moment(), lambda: tool.over)
    tool.close_stream("stdout")
    tool.finish()


def missing_streams(world):
    """Started without some of the standard descriptors: no file takes their numbers."""
    names = [name for name in ("stdin", "stdout", "stderr") if world.chance(0.5)]
    streams = dict.fromkeys(names, "closed")
    world.say(f"without {names}")
    host = world.pick("simulated", "qemu")
    image, raw = world.shelf.simulated_image, None
    if host == "simulated":
        world.use_simulated_host()
    else:
        world.use_fake_qemu()
        image, raw = world.shelf.packed, world.shelf.raw
    tool = world.start("create", "--ipsw", image, "--bundle", world.inside / "guest",
                       "--disk-gb", 1, **streams)
    tool.finish()
    if "stdout" not in names:
        world.require(tool.has(type="created"), "the create fails")
    if tool.status == 0:
        bundles.check_created(world, world.inside / "guest", host, raw)
    tool = world.start("run", "--bundle", world.inside / "guest", **streams)
    tool.pump(world.moment(), lambda: tool.over)
    tool.finish()


def full_output(world):
    """A report that cannot be written is not told as a success."""
    host = world.pick("simulated", "qemu")
    world.use_simulated_host() if host == "simulated" else world.use_fake_qemu()
    world.shelf.put_bundle(world.inside / "guest", host)
    image = world.shelf.simulated_image if host == "simulated" else world.shelf.raw
    arguments = world.pick(
        ["status", "--bundle", world.inside / "guest"],
        ["clone", "--from", world.inside / "guest", "--to", world.inside / "copy"],
        ["create", "--ipsw", image, "--bundle", world.inside / "new", "--disk-gb", "1"])
    tool = world.complete(*arguments, stdout="/dev/full")
    world.require(tool.status != 0, "a report that was not written is told as a success")


def garbage(world):
    """What is no command is left out; each command between is answered, once, in any pieces."""
    tool = running(world)
    count = world.rng.randint(1, 30)
    stream = b""
    for _ in range(count):
        for _ in range(world.pick(0, 1, 3)):
            stream += nonsense(world).replace(b"\n", b"") + b"\n"
        stream += world.pick(b'{"type":"resume"}\n', b' { "x":[1,{}], "type" : "resume" } \r\n',
                             b'\n\n{"type":"\\u0072esume"}\n')
    tool.commands["resume"] += count
    world.say(f"{count} commands in {len(stream)} bytes")
    while stream and not tool.over:
        size = world.pick(1, 2, 3, 50, 1000, 100000)
        tool.write(stream[:size])
        stream = stream[size:]
        if world.chance(0.2):
            tool.pump(0.001)
    chances.await_answers(world, tool, tools.HANG_SECONDS)
    tool.finish()


def nonsense(world):
    whole = json.dumps({"type": "text", "text": "x\u00e9\ud83d\ude00\"", "delayMs": 1e300}).encode()
    return world.pick(
        world.rng.randbytes(world.pick(1, 100, 70000)), whole[:world.rng.randrange(len(whole))],
        b"[" * world.pick(1, 1000, 200000), b'{"type":' * 1000, b'{"type":5}', b"null", b"\xff\xfe",
        b'{"type":"resume"}}', b'{"type":"resume","type":7}', b'{"type":"\xc0\x80"}', b"\0",
        b'{"type":"STOP"}', b'{"type":"stop "}', b'"stop"', b'{"type":"resume"', b"1e999999",
        b'{"type":"window\\ud800","show":true}', b'{"a":' + b"9" * 100000 + b"}")


def long_lines(world):
    """A line of megabytes, a command or none, and a command behind it."""
    tool = running(world)
    length = world.pick(100_000, 1 << 20, 4 << 20)
    filler = world.pick(b"x", b" ", b"[", b"\\u0041", b"\xc3\xa9") * length
    filler = filler[:length // 6 * 6]
    tool.write(world.pick(b'{"type":"unknown","text":"' + filler + b'"}\n', filler + b"\n",
                          b'{"a":"' + filler + b'","type":"key","key":"a"}\n'))
    tool.commands["key"] += 1
    world.say(f"a line of {length} bytes")
    tool.command("resume")
    chances.await_answers(world, tool, tools.HANG_SECONDS)
    tool.finish()


def end_in_a_line(world):
    """The input ends within a line: the rest is no command, the end is a stop."""
    tool = running(world)
    tool.write(world.pick(b'{"type":"pause"}', b'{"type":"pa', b"\xff", b"x" * 300000))
    tool.close_input()
    tool.pump(tools.HANG_SECONDS, lambda: tool.over)
    world.require(not tool.has(type="guest-power"), "a command without its end was obeyed")
    tool.finish()
