"""What a scenario consists of."""

import dataclasses
import signal
from typing import Optional


@dataclasses.dataclass(frozen=True)
class Outside:
    """A signal from outside, once the tool has said `after`: to the tool, or to all processes of the parent."""

    target: str
    signal: signal.Signals
    after: str = "running"


@dataclasses.dataclass(frozen=True)
class Expected:
    """What the parent has to say at the end. None: it need not say anything about it."""

    outcome: Optional[str]
    code: Optional[str] = None
    answers: tuple = ()
    noticed: tuple = ()
    actions: Optional[tuple] = ()
    last: dict = dataclasses.field(default_factory=dict)  # members of the last event


@dataclasses.dataclass(frozen=True)
class Truth:
    """What has to have happened on the simulated host."""

    calls: tuple = ()  # that were made
    never: tuple = ()  # that were not
    typed: Optional[str] = None
    labels: dict = dataclasses.field(default_factory=dict)  # the last text of each


@dataclasses.dataclass(frozen=True)
class Case:
    name: str
    says: str  # what a good parent does
    arguments: tuple
    expected: Expected
    steps: tuple = ()
    patience_ms: tuple = (20000, 20000)
    scenario: dict = dataclasses.field(default_factory=dict)
    truth: Truth = Truth()
    change: Optional[str] = None  # to the events on their way; see the shim
    outside: Optional[Outside] = None
    settings: dict = dataclasses.field(default_factory=dict)  # members of vm.json
    in_use: bool = False  # another process has locked the bundle
    path_suffix: str = ""

    def kills_parent(self):
        return self.outside is not None and self.outside.target == "parent"
