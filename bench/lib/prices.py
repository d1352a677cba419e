"""What this machine asks for a system call and for computing, and targets that are stated in those prices."""

import shutil
import statistics
from fractions import Fraction
from typing import NamedTuple

from report import number

SAMPLES = 3


class Prices:
    """CPU microseconds of one step each, as `price_of_calls` finds them; sampled before and after what is judged, so
    that a machine that slows down during a run slows its own targets down too."""

    def __init__(self, bench):
        self._bench = bench
        self._samples = []

    def sample(self):
        folder = self._bench.new_folder()
        try:
            self._samples.append(self._bench.ask("price_of_calls", "--state-dir", folder))
        finally:
            shutil.rmtree(folder, ignore_errors=True)

    def _median(self, name):
        while len(self._samples) < SAMPLES:
            self.sample()
        return statistics.median(sample[name] for sample in self._samples)

    def of(self, step, alone=False):
        """`alone`: taken once by a thread that has just been woken, not in a loop."""
        return self._median(f"turn_{step}_us" if alone else f"{step}_us")

    def rows(self):
        steps = (("send", "send of 64 octets over the loopback"), ("receive", "recv of 64 octets"),
                 ("pwrite", "pwrite of 1 KiB"), ("message", "making one sample message: computing, no system call"))
        rows = [(words, number(self.of(step)), number(self.of(step, alone=True))) for step, words in steps]
        return [*rows, ("being woken by a message, and its recv", "-", number(self.of("wake", alone=True)))]


class Budget(NamedTuple):
    """A target: so many times the computing of one sample message, and so many system calls. A budget does not know
    what a microsecond is worth on this machine; the prices do."""

    message: float
    send: float | Fraction = 0
    receive: float | Fraction = 0
    pwrite: float | Fraction = 0
    wake: int = 0
    alone: bool = False  # at the prices of a step that is taken alone

    def _parts(self):
        return [(name, count) for name, count in self._asdict().items() if name != "alone" and count]

    def microseconds(self, prices):
        return sum(float(count) * prices.of(name, self.alone) for name, count in self._parts())

    def words(self):
        return " + ".join(f"{count} {name}" for name, count in self._parts())


def judge_budget(report, what, measured, budget, prices):
    limit = budget.microseconds(prices)
    report.judge(f"{what}: {number(measured)} µs, at most {number(limit)} ({budget.words()}, at this run's prices)",
                 measured <= limit)
