"""The time in which a guest gets 1 GiB from another machine, through passt and without it. The other
machine and the host are network namespaces, which needs root."""

import pathlib
import sys
import time

from tool import Row

ROOT = pathlib.Path(__file__).resolve().parents[1]
sys.path += [str(ROOT / "tests/guest"), str(ROOT / "guest-kit")]
import private_network  # noqa: E402
from guest_folder import GuestFolder  # noqa: E402

LENGTH = 1 << 30
TIMEOUT = 600  # seconds
# Runs in the guest.
SCRIPT = """
read begin _ </proc/uptime
wget -q -O /dev/null http://{address}:{port}/ || exit
read end _ </proc/uptime
echo $begin $end
"""


def wait_for(what):
    end = time.monotonic() + TIMEOUT
    while not (value := what()):
        if time.monotonic() > end:
            raise RuntimeError(f"the guest has not answered after {TIMEOUT} s")
        time.sleep(0.05)
    return value


def seconds(bench, name, before):
    logs = bench.folder / f"{name}-logs"
    logs.mkdir()
    bundle = bench.guest_bundle(name)
    with private_network.PrivateNetwork() as network:
        _, port = network.listen("outside", private_network.OUTSIDE, LENGTH)
        before = [*network.on_host(), *before]
        process = bench.start_run(bundle, before=before, options=["--logs-share", str(logs)])
        guest = GuestFolder(logs)
        wait_for(guest.up)
        guest.submit(SCRIPT.format(address=private_network.OUTSIDE, port=port))
        result = wait_for(guest.result)
        process.terminate()
        process.communicate()
    begin, end = map(float, result.output.split())
    return end - begin


def rows(bench):
    if reason := private_network.missing():
        print(f"no measurement of a guest's network: {reason}", file=sys.stderr)
        return
    ours = seconds(bench, "passt", [])
    reference = seconds(bench, "user-networking", private_network.without_passt())
    yield Row("1 GiB to a guest, passt / user networking", ours, "s", reference)
