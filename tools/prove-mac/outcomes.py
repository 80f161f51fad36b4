"""What trying an assumption can say, and the row that describes one."""

import collections


class Refuted(Exception):
    """The assumption is wrong on this Mac; the text says what was seen."""


class NotTried(Exception):
    """The assumption was not tried; the text says why."""


# id: a short name. sentence: what is assumed. file: what to change when it is wrong.
# prove: a function of the Bench; it returns, or raises Refuted or NotTried.
Assumption = collections.namedtuple("Assumption", "id sentence file prove")

# outcome: "PROVED", "REFUTED" or "NOT TRIED". why: empty when it is proved.
Result = collections.namedtuple("Result", "assumption outcome why")


def try_out(assumption, bench):
    """Tries one assumption and ends what it has started, however it went."""
    try:
        assumption.prove(bench)
    except Refuted as refuted:
        return Result(assumption, "REFUTED", str(refuted))
    except NotTried as reason:
        return Result(assumption, "NOT TRIED", str(reason))
    except OSError as error:
        return Result(assumption, "REFUTED", f"the attempt failed: {error}")
    finally:
        bench.end_all()
    return Result(assumption, "PROVED", "")
