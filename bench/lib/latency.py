"""How long a message takes from the stand-in's write to the host's callback."""

import array
import os
import shutil

from harness import RunFailed, tell
from report import number
from subjects import FLOOR_PLAIN, OURS, PEERS

RATES = ((100, "100 messages a second"), (10_000, "10,000 messages a second"))


def latency(bench, options, report, prices):
    """Both processes read CLOCK_MONOTONIC, which the machine has once. The runs take turns; their messages are put
    together."""
    report.begin("latency", f"Latency: µs from the stand-in's write to the host's callback "
                            f"({options.latency_seconds:g} s at each rate, {options.latency_runs} runs)")
    subjects = bench.built((OURS, *PEERS, FLOOR_PLAIN))
    waits = {subject: {rate: [] for rate, _ in RATES} for subject in subjects}
    for run in range(options.latency_runs):
        for rate, words in RATES:
            tell(f"latency, run {run + 1}, {words}")
            for subject in subjects:
                waits[subject][rate] += one_run(bench, subject, rate, options.latency_seconds)
    rows = []
    found = {}
    for subject in subjects:
        cells = []
        for rate, _ in RATES:
            ordered = sorted(waits[subject][rate])
            p50, p99 = quantile(ordered, 0.50), quantile(ordered, 0.99)
            cells += [number(p50, 0), number(p99, 0)]
            found.setdefault(subject.title, {})[str(rate)] = {"p50_us": p50, "p99_us": p99}
        rows.append((subject.title, *cells))
    report.table(("subject", *(f"{rate:,}/s, {q}" for rate, _ in RATES for q in ("p50", "p99"))), rows)
    report.keep(latency=found)


def one_run(bench, subject, rate, seconds):
    count = max(int(rate * seconds), 2)
    folder = bench.new_folder()
    departures, arrivals = os.path.join(folder, "departures"), os.path.join(folder, "arrivals")
    try:
        bench.run(subject, ["--mode", "blast", "--count", str(count), "--interval-us", str(1_000_000 // rate),
                            "--departures", departures], ["--count", str(count), "--arrivals", arrivals])
        sent, seen = instants(departures), instants(arrivals)
    finally:
        shutil.rmtree(folder, ignore_errors=True)
    if len(sent) != count or len(seen) != count:
        raise RunFailed(f"{subject.title}: {len(sent)} departures and {len(seen)} arrivals of {count}")
    # The first messages find cold code and a connection that is still settling.
    skipped = count // 10
    return [(there - here) / 1e3 for here, there in zip(sent[skipped:], seen[skipped:])]


def instants(path):
    values = array.array("q")
    with open(path, "rb") as octets:
        values.frombytes(octets.read())
    return values


def quantile(ordered, share):
    return ordered[min(int(len(ordered) * share), len(ordered) - 1)]
