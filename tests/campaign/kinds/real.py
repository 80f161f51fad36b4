"""The real emulator, with a guest that stays in its firmware: signals and kills at random moments,
and pauses that nobody waits for."""

import chances
import faults
import tool as tools


def attempt(world):
    bundle = world.inside / "guest"
    world.shelf.put_small_bundle(bundle)
    world.use_real_qemu()
    tool = world.start("run", "--bundle", bundle)
    if world.chance(0.5):
        return undisturbed(world, tool)
    for _ in range(world.pick(1, 2, 3)):
        faults.wait_for_moment(world, tool)
        faults.strike(world, tool)
        chances.commands(world, tool, world.pick(0, 3))
    return tool.finish()


def undisturbed(world, tool):
    tool.pump(tools.HANG_SECONDS, lambda: tool.is_running or tool.over)
    world.require(tool.is_running, "the guest does not run")
    chances.commands(world, tool, world.pick(2, 10))
    chances.await_answers(world, tool, tools.HANG_SECONDS)
    tool.finish()
    chances.check_turns(world, tool)
